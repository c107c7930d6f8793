// Writing the fields of record after record to where CPython 3.13 keeps them.
//
// Half of what a record costs is the interpreter's search for the place of each of its fields,
// which is the same in all records of a class. An instance of a plain class keeps its attributes
// right behind the object's head: a few bytes of state, then one value for each name, in the order
// in which the class first saw the names, then as many bytes with the order in which the values
// were set. No public header says so. Therefore the first record of a parse is filled through the
// public API. If its values are then found where they are expected, the ones after it are written
// there, which takes a fifth to almost a half off the time of a parse; if not, every record is
// filled through the public API. Nothing outside of this file knows of the layout.
//
// Only a class that is_unmodified() may be filled so: no descriptor then stands under a field's
// name, and no finaliser sees a record that is dropped half-way.
#pragma once

#include <array>
#include <cstdint>

#include "capi/records.hpp"

namespace git_utils {

// The head of an instance's values.
struct alignas(PyObject*) InlineValues {
    std::uint8_t capacity;
    std::uint8_t size;
    std::uint8_t is_embedded;
    std::uint8_t is_valid;

    static InlineValues& of(PyObject* object) {
        return *reinterpret_cast<InlineValues*>(object + 1);
    }
    PyObject** values() { return reinterpret_cast<PyObject**>(this + 1); }
    std::uint8_t* order() { return reinterpret_cast<std::uint8_t*>(values() + capacity); }
};

// Fills the records of one parse.
template <class Record>
class RecordFiller {
public:
    explicit RecordFiller(const Module& module)
        : module_(module), type_(module.remembered(Record::type)) {}

    Ref operator()(const Record& record) {
        auto* type = reinterpret_cast<PyTypeObject*>(type_.get());
        Ref instance = Ref::steal(type->tp_alloc(type, 0));
        InlineValues& places = InlineValues::of(instance.get());
        if (places_are_known_ && places.capacity >= size) {
            write(places, record.values());
        } else {
            set_fields(module_, instance, record);
            places_are_known_ = has_expected_places(instance.get(), record.values());
        }
        return instance;
    }

private:
    static constexpr std::size_t size = Record::fields.size();

    static void write(InlineValues& places, const std::array<PyObject*, size>& values) {
        PyObject** place = places.values();
        for (std::size_t i = 0; i < size; ++i) {
            place[i] = Py_NewRef(values[i]);
            places.order()[i] = static_cast<std::uint8_t>(i);
        }
        places.size = size;
    }

    static bool has_expected_places(PyObject* instance,
                                    const std::array<PyObject*, size>& expected) {
        constexpr unsigned max_capacity = 30;
        const PyTypeObject* type = Py_TYPE(instance);
        if ((type->tp_flags & Py_TPFLAGS_INLINE_VALUES) == 0 ||
            type->tp_basicsize != sizeof(PyObject)) {
            return false;
        }
        InlineValues& places = InlineValues::of(instance);
        bool known = places.is_embedded == 1 && places.is_valid == 1 && places.capacity >= size &&
                     places.capacity <= max_capacity;
        for (std::size_t i = 0; known && i < size; ++i) {
            known = places.values()[i] == expected[i] && places.order()[i] == i;
        }
        return known;
    }

    const Module& module_;
    Ref type_;
    bool places_are_known_ = false;
};

}  // namespace git_utils
