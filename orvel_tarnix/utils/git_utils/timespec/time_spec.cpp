#include "timespec/timespec.hpp"

#include "text/scan.hpp"
#include "text/units.hpp"

namespace git_utils::timespec {
namespace {

// A relative spec: either read natively, or what _RELATIVE_SPEC has matched, not yet taken apart.
struct RelativeSpec {
    Verdict verdict = Verdict::undecided;
    Ref amount;
    Ref letter;
    Ref match;
};

// Recognises what `(\d+)([mhdw])` matches as a whole, for it is what most specs look like: the
// pattern's own match takes a third of the time of parsing a spec.
template <class Unit>
RelativeSpec read_relative_spec(Units<Unit> spec) {
    RelativeSpec relative;
    std::int64_t amount = 0;
    relative.verdict = read_number(spec, amount);
    if (relative.verdict == Verdict::yes) {
        const bool has_unit = spec.size() == 1 && (spec[0] == 'm' || spec[0] == 'h' ||
                                                   spec[0] == 'd' || spec[0] == 'w');
        if (!has_unit) {
            relative.verdict = Verdict::no;
            return relative;
        }
        relative.amount = Ref::steal(PyLong_FromLongLong(amount));
        relative.letter = to_str(spec);
    }
    return relative;
}

RelativeSpec match_relative_spec(const Module& module, PyObject* spec) {
    const Ref pattern = module["_RELATIVE_SPEC"_name];
    RelativeSpec relative;
    if (PyUnicode_CheckExact(spec) && module.is_own("_RELATIVE_SPEC"_name, pattern.get())) {
        relative = with_text(spec, [](auto units) { return read_relative_spec(units); });
    }
    if (relative.verdict == Verdict::undecided) {
        relative.match = module.call_method(pattern.get(), "fullmatch"_name, spec);
    }
    return relative;
}

// datetime.now() - timedelta(**{unit: amount}); nothing for an amount that is not positive.
Ref relative_moment(const Module& module, const RelativeSpec& relative) {
    PyObject* match = relative.match.get();
    const Ref amount =
        match == nullptr ? relative.amount : Ref::steal(PyNumber_Long(item(match, 1).get()));
    if (!compare(amount.get(), Ref::steal(PyLong_FromLong(0)).get(), Py_GT)) {
        return {};
    }
    const Ref now = module.call_method(module["datetime"_name].get(), "now"_name);
    const Ref timedelta = module["timedelta"_name];
    const Ref units = module["_SPEC_UNITS"_name];
    const Ref letter = match == nullptr ? relative.letter : item(match, 2);
    const Ref unit = Ref::steal(PyObject_GetItem(units.get(), letter.get()));
    const Ref keywords = Ref::steal(PyDict_New());
    check(PyDict_SetItem(keywords.get(), unit.get(), amount.get()));
    const Ref span =
        Ref::steal(PyObject_VectorcallDict(timedelta.get(), nullptr, 0, keywords.get()));
    return Ref::steal(PyNumber_Subtract(now.get(), span.get()));
}

// An ISO date or date-time as local wall-clock time.
Ref iso_moment(const Module& module, PyObject* spec) {
    Ref moment = module.call_method(module["datetime"_name].get(), "fromisoformat"_name, spec);
    if (module.attribute(moment.get(), "tzinfo"_name).get() == Py_None) {
        return moment;
    }
    const Ref local = module.call_method(moment.get(), "astimezone"_name);
    const Ref replace = module.attribute(local.get(), "replace"_name);
    const Ref keywords = Ref::steal(PyDict_New());
    check(PyDict_SetItem(keywords.get(), module.name("tzinfo"_name), Py_None));
    return Ref::steal(PyObject_VectorcallDict(replace.get(), nullptr, 0, keywords.get()));
}

// The moment that the spec names, or nothing when it is in none of the forms.
Ref moment_of(const Module& module, PyObject* since, PyObject* spec, const RelativeSpec& relative) {
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
            error.raise_from(
                PyExc_ValueError,
                Ref::steal(PyUnicode_FromFormat("since %R reaches outside the calendar", since)));
        }
        error.reraise();
    }
    return {};
}

}  // namespace

Ref parse_time_spec(const Module& module, PyObject* since) {
    const Ref spec = module.call_method(since, "strip"_name);
    const RelativeSpec relative = match_relative_spec(module, spec.get());
    if (Ref moment = moment_of(module, since, spec.get(), relative)) {
        return moment;
    }
    const Ref forms = format(module["TIME_SPEC_FORMS"_name].get());
    raise(PyExc_ValueError, "since must be %U; got %R", forms.get(), since);
}

}  // namespace git_utils::timespec
