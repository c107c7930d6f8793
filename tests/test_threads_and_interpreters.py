"""What holds in many threads, in many interpreters, and when the interpreter ends."""

from pathlib import Path

import pytest
from conftest import Repository
from worlds import run_python

ASK_EVERYTHING = """
from compare import StoppedClock
from worlds import PURE_CALLS, QUESTIONS, Call, answer
from orvel_tarnix.utils import git_utils
from pathlib import Path
git_utils.datetime = StoppedClock
asked = [Call(each.name, (Path(ROOT), *each.args[1:]), each.kwargs) for each in QUESTIONS]
def answers():
    return [answer(git_utils, call) for call in PURE_CALLS * 9 + asked]
"""

THREADS = """
import sys, threading
sys.setswitchinterval(1e-5)
expected, all_of, at_once = answers(), [], threading.Barrier(16)
def run():
    at_once.wait()
    all_of.append(answers())
threads = [threading.Thread(target=run) for _ in range(16)]
for each in threads: each.start()
for each in threads: each.join()
print([each == expected for each in all_of].count(True), any("FileChange" in a for a in expected))
"""

INTERPRETERS = """
import _interpreters, sys, threading
prologue = f"import sys; sys.path[:] = {sys.path!r}; ROOT = {ROOT!r}"
check = f"assert answers() == {answers()!r}"
failures = []
def run():
    own = _interpreters.create("isolated")
    failures.append(_interpreters.exec(own, "\\n".join([prologue, ASK, check])))
    _interpreters.destroy(own)
threads = [threading.Thread(target=run) for _ in range(4)]
for each in threads: each.start()
for each in threads: each.join()
print(failures)
"""


@pytest.fixture
def root(repository: Repository) -> Path:
    """A repository in which every question has an answer."""
    repository.commit({"a": "1\n2\n3\n"})
    repository.git("switch", "--quiet", "--create=topic")
    repository.commit({"a": "1\n3\n4\n", "b": "5\n"})
    return repository.root


def test_sixteen_threads_get_the_answers_of_one(root: Path) -> None:
    source = f"ROOT = {str(root)!r}\n{ASK_EVERYTHING}{THREADS}"
    assert run_python("-c", source, cwd=root) == "16 True\n"


def test_isolated_interpreters_get_the_answers_of_the_main_one(root: Path) -> None:
    source = f"ROOT = {str(root)!r}\nASK = {ASK_EVERYTHING!r}\n{ASK_EVERYTHING}{INTERPRETERS}"
    assert run_python("-c", source, cwd=root) == "[None, None, None, None]\n"


# A daemon thread is inside the module when the interpreter ends, and wakes after it has begun to
# end: `Last` keeps it from ending before that thread is gone. Without the lock, CPython 3.13 lets a
# thread that it has stopped sleep for ever, so there it waits a while only.
SHUTDOWN = """
import os, sys, threading, time
from orvel_tarnix.utils import git_utils
class Last:
    tries = 10**9 if sys._is_gil_enabled() else 200
    def __del__(self, tasks=os.listdir, wait=time.sleep):
        while len(tasks("/proc/self/task")) > 1 and self.tries:
            self.tries -= 1
            wait(0.001)
last = Last()
inside = threading.Event()
def linger(*_, **__):
    inside.set()
    while True:
        time.sleep(0.0001)
class Text(str):
    split = strip = linger
class Logger:
    warning = linger
def set_off():
    inside.set()
    while True:
        git_utils.parse_commit_changes("\\x1e1\\0" * 99)
        git_utils.parse_line_spans('+++ "\\\\q"\\n@@ -1 +1 @@\\n-\\n+\\n' * 99)
        git_utils._span(1, 2, 3)
{caught}
threading.Thread(target=run, daemon=True).start()
inside.wait()
print("ends")
"""
CAUGHT = {
    "in parsers": "run = set_off",
    "in a method of its argument": "run = lambda: git_utils.parse_file_changes(Text())",
    "in a rebound function": "git_utils._span = linger\n"
    "run = lambda: git_utils.parse_line_spans('+++ a\\n@@ -1 +1 @@\\n')",
    "in the launcher": "git_utils.subprocess = type('', (), {'run': linger})\n"
    "run = lambda: git_utils.get_default_branch('/')",
    "in a handler of an error": "git_utils.logger = Logger()\n"
    "run = lambda: git_utils.run_git_command('/nowhere', ['status'])",
    "in a finaliser as the call ends": "class Path(str):\n"
    "    def __truediv__(self, _): return Path()\n"
    "    __del__ = linger\n"
    "run = lambda: git_utils.wiki_root(Path())",
    "in runs of git": "def run():\n"
    "    while True: inside.set(); git_utils.run_git_command('/', ['version'])",
}


@pytest.mark.parametrize("caught", CAUGHT)
def test_a_daemon_thread_is_gone_without_a_trace(caught: str) -> None:
    for _ in range(5):
        assert run_python("-c", SHUTDOWN.replace("{caught}", CAUGHT[caught])) == "ends\n"
