"""Objects that record every use of them, to compare in which order two modules use theirs.

Not recorded: how an object is made, shown, hashed or turned into a number, and its class. Neither
module promises how often it does that.
"""

import functools
from collections.abc import Callable
from operator import contains, getitem, sub, truediv
from typing import Any

UNRECORDED = {
    "__new__",
    "__init__",
    "__init_subclass__",
    "__subclasshook__",
    "__getattribute__",
    "__class__",
    "__hash__",
    "__repr__",
    "__str__",
    "__index__",
    "__int__",
}
# Types that C code recognises: their objects are recorded by a subclass, all others by a Recorder.
SUBCLASSED = str, int, list, tuple, dict, frozenset
# Objects of these types are not recorded.
NOT_RECORDED_TYPES = bool, float, bytes, BaseException, type(None)


class EventLog(list[str]):
    """What was done to the recorded objects, in order; a callback can run at a chosen event."""

    interrupted_at = -1
    interrupt: Callable[[], object]

    def record(self, event: str) -> None:
        self.append(event)
        if len(self) - 1 == self.interrupted_at:
            self.interrupt()

    def restart(self, interrupted_at: int, interrupt: Callable[[], object]) -> None:
        """Forget all events, and interrupt at that one of the new events."""
        self.clear()
        self.interrupted_at, self.interrupt = interrupted_at, interrupt


events = EventLog()


def recording_method(kind: type, name: str) -> Callable[..., object]:
    """The method of the class, recording its calls."""
    method = getattr(kind, name)

    def call(self: object, *args: object, **keywords: object) -> object:
        events.record(f"{kind.__name__}.{name}{args}")
        result = method(self, *args, **keywords)
        if kind is str and isinstance(result, list | tuple):
            return [recorded(each, f"{name}()[]") for each in result]
        return recorded(result, f"{kind.__name__}.{name}()")

    return call


@functools.cache
def recording_type(kind: type) -> type:
    """A subclass whose methods record their calls."""
    methods: dict[str, object] = {"__hash__": kind.__hash__}
    for name in dir(kind):
        if callable(getattr(kind, name)) and name not in UNRECORDED:
            methods[name] = recording_method(kind, name)
    return type(kind.__name__, (kind,), methods)


class Recorder:
    """Stands for an object of any other type: records what is done to it and does it there."""

    def __init__(self, value: object, name: str) -> None:
        self.value = value
        self.name = name

    def __repr__(self) -> str:
        return repr(self.value)

    def forward(
        self, use: str, function: Callable[..., object], *args: object, **keywords: object
    ) -> Any:
        """Record the use, and return a recorded result of what the arguments stand for."""
        events.record(f"{self.name}{use}")
        result = function(*map(unrecorded, args), **keywords)
        return recorded(result, f"{self.name}{use}")

    def __getattr__(self, name: str) -> object:
        return self.forward(f".{name}", getattr, self, name)

    def __call__(self, *args: object, **keywords: object) -> object:
        return self.forward(f"{args}{[*keywords]}", self.value, *args, **keywords)

    def __iter__(self) -> object:
        is_iterator = hasattr(self.value, "__next__")
        return self if is_iterator else self.forward(".iter", iter, self)


def forwarding_method(operation: Callable[..., object]) -> Callable[..., object]:
    """A special method of Recorder."""

    def special_method(self: Recorder, *args: object) -> object:
        return self.forward(f".{operation.__name__}{args}", operation, self, *args)

    return special_method


for _operation in (getitem, contains, truediv, sub, next, format, bool, str):
    setattr(Recorder, f"__{_operation.__name__}__", forwarding_method(_operation))


def unrecorded(value: object) -> object:
    """What the object stands for."""
    if isinstance(value, Recorder):
        value = value.value
    return str.__str__(value) if isinstance(value, str) else value


def recorded(value: object, name: str) -> object:
    """An object that stands for the value and records its uses."""
    if isinstance(value, NOT_RECORDED_TYPES) or value is NotImplemented:
        return value
    is_exception_class = isinstance(value, type) and issubclass(value, BaseException)
    if is_exception_class and name != "GitError":
        return value  # an except clause takes nothing else; GitError is only called
    if type(value) in {list, tuple}:
        value = type(value)(recorded(each, f"{name}[]") for each in value)
    if type(value) in SUBCLASSED:
        return recording_type(type(value))(value)
    if isinstance(value, SUBCLASSED):
        return value  # of a subclass, so it records already or is odd itself
    return Recorder(value, name)
