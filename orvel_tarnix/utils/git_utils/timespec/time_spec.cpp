// Time specs: a number of units before now, or an ISO date.
#include "declarations.hpp"

namespace git_utils {
namespace {

// datetime.now() - timedelta(**{unit: amount}); nothing for an amount that is not positive
Ref relative_moment(const ModuleState& module, Borrowed match) {
    const Ref amount = as_integer(module.call_method(match, "group"_name, 1));
    if (!is_greater({amount, 0})) {
        return {};
    }
    const Ref unit = item({module["_SPEC_UNITS"_name], module.call_method(match, "group"_name, 2)});
    const Ref now = module.call_method(module["datetime"_name], "now"_name);
    const Ref timedelta = module["timedelta"_name];
    const Ref keywords = empty_dict();
    set_item(keywords, unit, amount);
    return subtract({now, call_unpacked(timedelta, empty_tuple(), keywords)});
}

// An ISO date or date-time as local wall-clock time
Ref iso_moment(const ModuleState& module, Borrowed spec) {
    Ref moment = module.call_method(module["datetime"_name], "fromisoformat"_name, spec);
    if (is(module.attribute(moment, "tzinfo"_name), Py_None)) {
        return moment;
    }
    const Ref local = module.call_method(moment, "astimezone"_name);
    const Ref replace = module.attribute(local, "replace"_name);
    const Ref keywords = empty_dict();
    set_item(keywords, module.name("tzinfo"_name), Py_None);
    return call_unpacked(replace, empty_tuple(), keywords);
}

// The moment that the spec names; nothing if it matches no form
Ref moment_of(const ModuleState& module, Borrowed since, Borrowed spec, Borrowed match) {
    try {
        if (is_true(match)) {
            return relative_moment(module, match);
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
                             format_text("since %R reaches outside the calendar", {since}));
        }
        error.reraise();
    }
    return {};
}

}  // namespace

Ref parse_time_spec(const ModuleState& module, Borrowed since) {
    const Ref spec = module.call_method(since, "strip"_name);
    const Ref match = module.call_method(module["_RELATIVE_SPEC"_name], "fullmatch"_name, spec);
    if (Ref moment = moment_of(module, since, spec, match)) {
        return moment;
    }
    const Ref forms = format(module["TIME_SPEC_FORMS"_name]);
    raise(PyExc_ValueError, "since must be %U; got %R", forms.get(), since.get());
}

}  // namespace git_utils
