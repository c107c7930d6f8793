"""What holds in many threads, in many interpreters, and when the interpreter ends."""

import pytest
from worlds import run_python

ASK = """
from compare import StoppedClock
from worlds import CALLS, answer, launcher, run
from orvel_tarnix.utils import git_utils
vars(git_utils).update(launcher(run), datetime=StoppedClock)
def answers():
    return [answer(git_utils, call) for call in CALLS * 9]
"""
ASK_AT_ONCE = """
import _interpreters, sys
from concurrent.futures import ThreadPoolExecutor
sys.setswitchinterval(1e-5)
expected = answers()
check = f"import sys; sys.path[:] = {sys.path!r}\\n{ASK}\\nassert answers() == {expected!r}"
def run_isolated():
    own = _interpreters.create("isolated")
    failure = _interpreters.exec(own, check)
    _interpreters.destroy(own)
    return failure
with ThreadPoolExecutor(16) as pool:
    isolated = [pool.submit(run_isolated) for _ in range(4)]
    asked = [pool.submit(answers) for _ in range(12)]
    print(*[each.result() for each in isolated], all(each.result() == expected for each in asked))
"""


def test_threads_and_isolated_interpreters_get_the_answers_of_the_main_one() -> None:
    assert run_python("-c", f"ASK = {ASK!r}{ASK}{ASK_AT_ONCE}") == "None None None None True\n"


# A daemon thread is inside the module when the interpreter ends, and wakes after it has begun to
# end: `Last` keeps it from ending before that thread is gone, but for five seconds at most, as
# without the lock CPython 3.13 lets a thread that it has stopped sleep for ever.
SHUTDOWN = """
import os, threading, time, types
from orvel_tarnix.utils import git_utils
class Last:
    def __del__(self, tasks=os.listdir, wait=time.sleep):
        for _ in range(5000):
            if len(tasks("/proc/self/task")) > 1:
                wait(0.001)
last = Last()
inside = threading.Event()
def linger(*_, **__):
    inside.set()
    while True:
        time.sleep(0.0001)
def parse():
    inside.set()
    while True:
        git_utils.parse_commit_changes("\\x1e1\\0" * 99)
        git_utils.parse_line_spans('+++ "\\\\q"\\n@@ -1 +1 @@\\n-\\n+\\n' * 99)
        git_utils._span(1, 2, 3)
class Path(str):
    __truediv__ = lambda self, _: Path()
    __del__ = linger
git_utils.logger, git_utils._git_output = types.SimpleNamespace(warning=linger), linger
run = {run}
threading.Thread(target=run, daemon=True).start()
inside.wait()
print("ends")
"""
CAUGHT = {
    "a parser": "parse",
    "a call": "lambda: git_utils.diff_file_changes('/', 'a', 'b')",
    "a handler of an error": "lambda: git_utils.run_git_command('/nowhere', ['status'])",
    "a finaliser as the call ends": "lambda: git_utils.wiki_root(Path())",
}


@pytest.mark.parametrize("caught", CAUGHT)
def test_a_daemon_thread_is_gone_without_a_trace(caught: str) -> None:
    for _ in range(5):
        assert run_python("-c", SHUTDOWN.replace("{run}", CAUGHT[caught])) == "ends\n"
