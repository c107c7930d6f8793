"""Objects that answer in their own way, and code that gets hold of what a parser works with."""

import gc
from collections.abc import Callable

import pytest
from compare import assert_alike, native


class Thief(str):
    """A path that changes the map it is stored in while it is looked up in another."""

    deed: Callable[[dict[str, object]], object]

    def __eq__(self, other: object) -> bool:
        for each in gc.get_referrers(self):
            if type(each) is dict and any(key is self for key in each):
                self.deed(each)
        return str.__eq__(self, other)

    __hash__ = str.__hash__


DEEDS = {"empties": dict.clear, "grows": lambda held: held.update(c=("added", None))}
DEEDS |= {"breaks": lambda held: held.update(b=5), "shortens": lambda held: held.update(b=("x",))}


@pytest.mark.parametrize("deed", DEEDS)
def test_a_map_that_changes_while_it_is_read_is_an_error_of_python(deed: str) -> None:
    thief = Thief("a")
    thief.deed = DEEDS[deed]
    assert_alike("_file_changes", [":M", thief, ":M", "b", "1\t2\ta"])


def test_what_changes_nothing_gives_the_same_object() -> None:
    for name in ("feature/x", "é" * 9):
        assert native.normalize_branch_name(name) is native._patch_path(name) is name
