"""Memory that calls keep, and calls for which memory runs out."""

import pytest
from python_process import run_python


@pytest.mark.counts_blocks
def test_no_call_keeps_memory() -> None:
    # The one reported call leaks on purpose, to show that a leak is found.
    assert run_python("-m", "memory_checks", "leaks") == "keep, a leak: leaks\n"


@pytest.mark.fails_allocations
def test_any_allocation_of_a_call_may_fail_and_nothing_keeps_references() -> None:
    assert run_python("-m", "memory_checks", "failures") == ""


@pytest.mark.exhausts_memory
def test_a_name_that_exceeds_memory_raises_memory_error() -> None:
    assert run_python("-m", "memory_checks", "huge_name") == "MemoryError\n"
