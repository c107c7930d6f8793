#include "namespace.hpp"

#include <utility>

namespace git_utils {
namespace {

void bind(const Module& module, Name name, const Ref& value) {
    check(PyDict_SetItem(module.globals(), module.name(name), value.get()));
}

// re.compile(pattern, flags...)
template <class... Flags>
void bind_pattern(const Module& module, Name name, const char* pattern, Flags... flags) {
    bind(
        module, name,
        module.call_method(module["re"_name].get(), "compile"_name, text(pattern).get(), flags...));
}

using Entry = std::pair<const char*, const char*>;

void bind_dict(const Module& module, Name name, std::initializer_list<Entry> entries) {
    const Ref dict = Ref::steal(PyDict_New());
    for (const auto& [key, value] : entries) {
        check(PyDict_SetItemString(dict.get(), key, text(value).get()));
    }
    bind(module, name, dict);
}

using Field = std::pair<Name, Ref>;

Ref builtin(PyTypeObject& type) { return Ref::borrow(reinterpret_cast<PyObject*>(&type)); }

// type(name, (base,), {...}): what a class statement makes whose body holds a docstring alone.
Ref make_class(const Module& module, const Face& face, const char* name, PyObject* base,
               const Ref& members) {
    const Ref module_name = module["__name__"_name];
    const Ref title = text(name);
    check(PyDict_SetItemString(members.get(), "__module__", module_name.get()));
    check(PyDict_SetItemString(members.get(), "__qualname__", title.get()));
    check(PyDict_SetItemString(members.get(), "__doc__", face.class_doc(name).get()));
    const Ref bases =
        base == nullptr ? Ref::steal(PyTuple_New(0)) : Ref::steal(PyTuple_Pack(1, base));
    return call(reinterpret_cast<PyObject*>(&PyType_Type), title.get(), bases.get(), members.get());
}

// dataclass(frozen=True), then the class with its annotations, then the one applied to the other.
void bind_record(const Module& module, const Face& face, Name name,
                 std::initializer_list<Field> fields, const Ref& members) {
    const Ref dataclass = module["dataclass"_name];
    const Ref keywords = Ref::steal(PyDict_New());
    check(PyDict_SetItem(keywords.get(), module.name("frozen"_name), Py_True));
    const Ref decorator =
        Ref::steal(PyObject_VectorcallDict(dataclass.get(), nullptr, 0, keywords.get()));
    const Ref annotations = Ref::steal(PyDict_New());
    for (const auto& [field, type] : fields) {
        check(PyDict_SetItem(annotations.get(), module.name(field), type.get()));
    }
    check(PyDict_SetItemString(members.get(), "__annotations__", annotations.get()));
    const Ref plain =
        make_class(module, face, PyUnicode_AsUTF8(module.name(name)), nullptr, members);
    bind(module, name, call(decorator.get(), plain.get()));
}

}  // namespace

void bind_constants(const Module& module) {
    bind(module, "TIME_SPEC_FORMS"_name,
         text("a positive whole number followed by m (minutes), h (hours), d (days) or w (weeks), "
              "such as 7d or 24h, or an ISO date such as 2026-09-01"));
    bind_pattern(module, "_RELATIVE_SPEC"_name, R"((\d+)([mhdw]))");
    bind_dict(module, "_SPEC_UNITS"_name,
              {{"m", "minutes"}, {"h", "hours"}, {"d", "days"}, {"w", "weeks"}});
    bind_dict(module, "_STATUS_BY_LETTER"_name,
              {{"A", "added"},
               {"C", "copied"},
               {"D", "deleted"},
               {"M", "modified"},
               {"R", "renamed"},
               {"T", "modified"}});
    bind(module, "_TWO_PATH_LETTERS"_name, Ref::steal(PyFrozenSet_New(text("RC").get())));
    bind(module, "_COMMIT_START"_name, text("\x1e"));
    bind(module, "_PATCH_OPTIONS"_name,
         Ref::steal(PyList_AsTuple(list_of_texts({"--no-color", "--no-ext-diff", "--no-textconv",
                                                  "--no-prefix", "-M", "-U0"})
                                       .get())));
    bind_pattern(module, "_HUNK_HEADER"_name, R"(@@ -\d+(?:,(\d+))? \+(\d+)(?:,(\d+))? @@)");
    bind_pattern(module, "_C_ESCAPE"_name, R"(\\([0-7]{3}|.))",
                 module.attribute(module["re"_name].get(), "DOTALL"_name).get());
    bind_dict(module, "_C_ESCAPES"_name,
              {{"a", "\a"},
               {"b", "\b"},
               {"f", "\f"},
               {"n", "\n"},
               {"r", "\r"},
               {"t", "\t"},
               {"v", "\v"}});
}

void bind_exception(const Module& module, const Face& face) {
    bind(module, "GitError"_name,
         make_class(module, face, "GitError", PyExc_RuntimeError, Ref::steal(PyDict_New())));
}

void bind_records(const Module& module, const Face& face) {
    const Ref str = builtin(PyUnicode_Type);
    const Ref integer = builtin(PyLong_Type);
    const Ref optional_str = Ref::steal(PyNumber_Or(str.get(), Py_None));
    const Ref defaults = Ref::steal(PyDict_New());
    check(PyDict_SetItem(defaults.get(), module.name("old_path"_name), Py_None));
    bind_record(module, face, "FileChange"_name,
                {{"path"_name, str},
                 {"status"_name, str},
                 {"additions"_name, integer},
                 {"deletions"_name, integer},
                 {"old_path"_name, optional_str}},
                defaults);
    const Ref file_changes =
        Ref::steal(PyTuple_Pack(2, module["FileChange"_name].get(), Py_Ellipsis));
    const Ref files = Ref::steal(Py_GenericAlias(builtin(PyTuple_Type).get(), file_changes.get()));
    bind_record(module, face, "CommitChanges"_name,
                {{"timestamp"_name, integer}, {"files"_name, files}}, Ref::steal(PyDict_New()));
    bind_record(
        module, face, "LineSpan"_name,
        {{"start"_name, integer}, {"end"_name, integer}, {"added"_name, builtin(PyBool_Type)}},
        Ref::steal(PyDict_New()));
}

}  // namespace git_utils
