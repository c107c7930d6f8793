// Whether an object of the module's namespace still is, in all that decides what it does, what the
// import made of it.
#pragma once

#include "capi/module.hpp"

namespace git_utils {

// What the object is compared with later on. A name is modified when it is bound to another object.
// Besides,
// - a function is modified when its code or what its closure holds has been replaced;
// - a record class is modified when it is abstract, makes or finalises its instances in its own
//   way, or has something else under `__init__` or a field's name (a data descriptor there would
//   take the field's value); its metaclass cannot be replaced;
// - a dict is read at each use, so another one will do, whatever it holds. But it must be a plain
//   dict whose keys are plain str, so that looking something up runs no Python code.
// Nothing for a record class that is modified from the start.
Ref described(const Module& module, Borrowed object);

// The object that was described.
Ref described_object(Borrowed description);

bool still_as_described(const Module& module, Borrowed object, Borrowed description);

}  // namespace git_utils
