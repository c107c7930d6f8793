#include "timespec/timespec.hpp"

namespace git_utils::timespec {
namespace {

// datetime.now() - timedelta(**{unit: amount}); nothing for an amount that is not positive.
Ref relative_moment(const Module& module, PyObject* match) {
    const Ref digits = item(match, 1);
    const Ref amount = Ref::steal(PyNumber_Long(digits.get()));
    if (!compare(amount.get(), Ref::steal(PyLong_FromLong(0)).get(), Py_GT)) {
        return {};
    }
    const Ref now = module.call_method(module["datetime"_name].get(), "now"_name);
    const Ref timedelta = module["timedelta"_name];
    const Ref units = module["_SPEC_UNITS"_name];
    const Ref letter = item(match, 2);
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
Ref moment_of(const Module& module, PyObject* since, PyObject* spec, PyObject* match) {
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
    const Ref match =
        module.call_method(module["_RELATIVE_SPEC"_name].get(), "fullmatch"_name, spec.get());
    if (Ref moment = moment_of(module, since, spec.get(), match.get())) {
        return moment;
    }
    const Ref forms = format(module["TIME_SPEC_FORMS"_name].get());
    raise(PyExc_ValueError, "since must be %U; got %R", forms.get(), since);
}

}  // namespace git_utils::timespec
