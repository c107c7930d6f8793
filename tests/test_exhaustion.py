"""What happens when memory runs out: a MemoryError, or the right answer, and nothing else."""

from worlds import WORLDLY_CALLS, run_python


def test_any_allocation_of_a_call_and_any_step_of_the_import_may_fail() -> None:
    assert run_python("-m", "exhaustion").splitlines() == [
        f"{len(WORLDLY_CALLS)} calls",
        "__import__ 10 getLogger 2 compile 4 dataclass 4 _process_class 4",
    ]


def test_a_name_may_be_longer_than_memory() -> None:
    assert run_python("-m", "exhaustion", "grow") == "MemoryError\n"
