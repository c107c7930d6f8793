"""Memory that calls keep, and calls for which memory runs out."""

from python_process import run_python


def test_no_call_keeps_memory() -> None:
    # The one reported call leaks on purpose, to show that a leak is found.
    assert run_python("-m", "memory_checks", "leaks") == "keep, a leak: leaks\n"


def test_any_allocation_of_a_call_may_fail_and_nothing_keeps_references() -> None:
    assert run_python("-m", "memory_checks", "failures") == ""


def test_a_name_may_be_longer_than_memory() -> None:
    assert run_python("-m", "memory_checks", "huge_name") == "MemoryError\n"
