"""What is left behind by calls, and what becomes of them when memory runs out."""

from worlds import run_python


def test_no_call_keeps_memory() -> None:
    assert (
        run_python("-m", "exhaustion", "leaks") == "keep (): leaks\n"
    )  # on purpose, to show that leaks are seen


def test_any_allocation_of_a_call_may_fail_and_nothing_keeps_references() -> None:
    assert run_python("-m", "exhaustion", "failures") == ""


def test_a_name_may_be_longer_than_memory() -> None:
    assert run_python("-m", "exhaustion", "grow") == "MemoryError\n"
