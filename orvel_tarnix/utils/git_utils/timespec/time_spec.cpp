#include "declarations.hpp"
#include "natively.hpp"
#include "timespec/relative_spec.hpp"

namespace git_utils {
namespace {

// A relative spec: either read natively, or what _RELATIVE_SPEC has matched, not yet taken apart.
struct RelativeSpec {
    Verdict verdict = Verdict::undecided;
    Ref amount;
    Ref letter;
    Ref match;
};

// Most specs are of this form, and the pattern's own match takes a third of the time of a parse.
RelativeSpec relative_spec_natively(const Module& module, Borrowed spec) {
    return natively<uses::relative_spec>(module, spec, [](auto rest) {
        RelativeSpec relative;
        std::int64_t amount = 0;
        relative.verdict = timespec::read_relative_spec(rest, amount);
        if (relative.verdict == Verdict::yes) {
            relative.amount = integer(amount);
            relative.letter = to_str(rest);
        }
        return relative;
    });
}

RelativeSpec relative_spec(const Module& module, Borrowed spec) {
    RelativeSpec relative = relative_spec_natively(module, spec);
    if (relative.verdict == Verdict::undecided) {
        relative.match = module.call_method(module["_RELATIVE_SPEC"_name], "fullmatch"_name, spec);
    }
    return relative;
}

// datetime.now() - timedelta(**{unit: amount}); nothing for an amount that is not positive.
Ref relative_moment(const Module& module, const RelativeSpec& relative) {
    const Ref amount = relative.match ? as_integer(item(relative.match, 1)) : relative.amount;
    if (!compare(amount, integer(0), Py_GT)) {
        return {};
    }
    const Ref units = module["_SPEC_UNITS"_name];
    const Ref letter = relative.match ? item(relative.match, 2) : relative.letter;
    const Ref unit = item(units, letter);
    const Ref now = module.call_method(module["datetime"_name], "now"_name);
    const Ref timedelta = module["timedelta"_name];
    const Ref keywords = empty_dict();
    set_item(keywords, unit, amount);
    return subtract(now, call_with(timedelta, tuple_of(), keywords));
}

// An ISO date or date-time as local wall-clock time.
Ref iso_moment(const Module& module, Borrowed spec) {
    Ref moment = module.call_method(module["datetime"_name], "fromisoformat"_name, spec);
    if (is(module.attribute(moment, "tzinfo"_name), Py_None)) {
        return moment;
    }
    const Ref local = module.call_method(moment, "astimezone"_name);
    const Ref replace = module.attribute(local, "replace"_name);
    const Ref keywords = empty_dict();
    set_item(keywords, module.name("tzinfo"_name), Py_None);
    return call_with(replace, tuple_of(), keywords);
}

// The moment that the spec names, or nothing when it is in none of the forms.
Ref moment_of(const Module& module, Borrowed since, Borrowed spec, const RelativeSpec& relative) {
    try {
        const bool is_relative =
            relative.match ? is_true(relative.match) : relative.verdict == Verdict::yes;
        if (is_relative) {
            return relative_moment(module, relative);
        }
        if (is_true(spec)) {
            return iso_moment(module, spec);
        }
    } catch (const PythonError&) {
        HandledException error;
        if (error.matches(PyExc_ValueError)) {
            return {};
        }
        if (error.matches(PyExc_OverflowError)) {
            error.raise_from(PyExc_ValueError,
                             composed("since %R reaches outside the calendar", since));
        }
        error.reraise();
    }
    return {};
}

}  // namespace

Ref parse_time_spec(const Module& module, Borrowed since) {
    const Ref spec = module.call_method(since, "strip"_name);
    const RelativeSpec relative = relative_spec(module, spec);
    if (Ref moment = moment_of(module, since, spec, relative)) {
        return moment;
    }
    const Ref forms = format(module["TIME_SPEC_FORMS"_name]);
    raise(PyExc_ValueError, "since must be %U; got %R", forms.get(), since.get());
}

}  // namespace git_utils
