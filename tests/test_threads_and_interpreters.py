"""Many threads, several interpreters, and the end of an interpreter."""

import pytest
from python_process import run_python

DEFINE_ANSWERS = """
from calls import CALLS, outcome_of
from canned_git import run_canned_git, subprocess_with
from compare import StoppedClock
from orvel_tarnix.utils import git_utils
vars(git_utils).update(subprocess_with(run_canned_git), datetime=StoppedClock)
def answers():
    return [outcome_of(git_utils, call) for call in CALLS * 9]
"""
ANSWER_IN_THREADS_AND_INTERPRETERS = '''
import _interpreters, sys
from concurrent.futures import ThreadPoolExecutor
sys.setswitchinterval(1e-5)
expected = answers()
check = f"""
import sys
sys.path[:] = {sys.path!r}
{DEFINE_ANSWERS}
assert answers() == {expected!r}
"""
def run_isolated():
    interpreter = _interpreters.create("isolated")
    failure = _interpreters.exec(interpreter, check)
    _interpreters.destroy(interpreter)
    return failure
with ThreadPoolExecutor(16) as pool:
    failures = [pool.submit(run_isolated) for _ in range(4)]
    in_threads = [pool.submit(answers) for _ in range(12)]
    print([failure.result() for failure in failures])
    print(all(each.result() == expected for each in in_threads))
'''


def test_threads_and_isolated_interpreters_get_the_answers_of_the_main_one() -> None:
    script = [
        f"DEFINE_ANSWERS = {DEFINE_ANSWERS!r}",
        DEFINE_ANSWERS,
        ANSWER_IN_THREADS_AND_INTERPRETERS,
    ]
    assert run_python("-c", "\n".join(script)) == "[None, None, None, None]\nTrue\n"


# A daemon thread is inside the module when the interpreter shuts down, and wakes up after that.
# The object `last` is destroyed late: it waits until the thread is gone, for five seconds at most,
# since CPython 3.13 may let a thread that it has stopped sleep for ever.
SHUTDOWN = """
import os, threading, time, types
from orvel_tarnix.utils import git_utils
class Last:
    def __del__(self, list_threads=os.listdir, wait=time.sleep):
        for _ in range(5000):
            if len(list_threads("/proc/self/task")) > 1:
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
class LingeringPath(str):
    __truediv__ = lambda self, _: LingeringPath()
    __del__ = linger
git_utils.logger, git_utils._git_output = types.SimpleNamespace(warning=linger), linger
run = {run}
threading.Thread(target=run, daemon=True).start()
inside.wait()
print("ends")
"""
INTERRUPTED = {
    "a parser": "parse",
    "a call": "lambda: git_utils.diff_file_changes('/', 'a', 'b')",
    "an exception handler": "lambda: git_utils.run_git_command('/nowhere', ['status'])",
    "a finaliser at the end of a call": "lambda: git_utils.wiki_root(LingeringPath())",
}


@pytest.mark.ends_with_daemon_thread
@pytest.mark.parametrize("run", INTERRUPTED.values(), ids=INTERRUPTED)
def test_a_daemon_thread_inside_the_module_does_not_disturb_the_shutdown(run: str) -> None:
    for _ in range(5):
        assert run_python("-c", SHUTDOWN.replace("{run}", run)) == "ends\n"
