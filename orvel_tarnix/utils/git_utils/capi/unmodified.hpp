// Whether an object of the module's namespace still is, in all that decides what it does, what the
// import made of it.
#pragma once

#include "capi/module.hpp"

namespace git_utils {

// What to compare the object with later on. It counts as modified when another object stands in
// its place, and besides
// - a function when its code or what its closure holds is replaced;
// - a record class when its metaclass is, when it has become abstract, when it makes its instances
//   in another way or finalises them, and when what stands in the class under `__init__` or under a
//   field's name is replaced (a data descriptor would take the field's value);
// - a dict never, whatever it holds, as native code reads it at each use. But it must be a plain
//   one whose keys are plain str, so that looking something up runs no Python code.
Ref described(const Module& module, Borrowed object);

// The object that was described.
Ref described_object(Borrowed description);

bool still_as_described(const Module& module, Borrowed object, Borrowed description);

}  // namespace git_utils
