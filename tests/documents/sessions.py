"""Runs what documents hold: commands in bash, blocks of R and Python in sessions, C++ in a compiler."""

import os
import re
import shutil
import subprocess
import sys

_END = "end-of-block-7f3a"
_SECONDS = 120
# What a machine may lack: blocks that load it are skipped there, and counted. All else must be there.
OPTIONAL = {"r": ("nnet", "sandwich"), "python": ("pandas", "sklearn", "statsmodels")}

_PYTHON = r"""
import sys
def _blocks():
    names = {"__name__": "__main__"}
    while True:
        size = sys.stdin.buffer.readline()
        if not size: return
        text = sys.stdin.buffer.read(int(size)).decode()
        exec(compile(text, "<document>", "exec"), names)
        print("%s", flush=True)
_blocks()
""" % _END


class SessionError(Exception):
    """A session that ended within a block; the message is what it printed."""


def environment(folder, command):
    """What commands of documents see: no settings of this user, `qvreg` by its name."""
    names = ("PATH", "LD_LIBRARY_PATH", "QVREG_ARITHMETIC", "LSAN_OPTIONS", "ASAN_OPTIONS", "UBSAN_OPTIONS")
    result = {name: os.environ[name] for name in names if name in os.environ}
    result["PATH"] = os.path.dirname(command) + os.pathsep + result.get("PATH", os.defpath)
    result.update(LC_ALL="C.UTF-8", TZ="UTC", HOME=str(folder), OMP_NUM_THREADS="1", OPENBLAS_NUM_THREADS="1",
                  PYTHONDONTWRITEBYTECODE="1")
    return result


def run_command(text, folder, env, last_code=0):
    """Runs a command as bash does; what it printed, and its exit code."""
    done = subprocess.run(["bash", "-c", f"(exit {last_code})\n{text}"], cwd=folder, env=env,
                          stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                          timeout=_SECONDS, check=False)
    return done.stdout.decode("utf-8", "replace").splitlines(), done.returncode


class Session:
    """A session of R or Python that takes one block after the other."""

    def __init__(self, language, folder, env):
        self._language = language
        program = ["R", "--vanilla", "--no-echo"] if language == "r" else [python(), "-u", "-c", _PYTHON]
        self._process = subprocess.Popen(program, cwd=folder, env=env, stdin=subprocess.PIPE,
                                         stdout=subprocess.PIPE, stderr=subprocess.STDOUT)

    def run(self, lines):
        """What the block printed. Raises SessionError where the session ends in it."""
        text = "\n".join(lines) + "\n"
        if self._language == "r":
            data = f'{text}cat("{_END}\\n"); flush(stdout())\n'.encode()
        else:
            code = text.encode()
            data = b"%d\n%s" % (len(code), code)
        try:
            self._process.stdin.write(data)
            self._process.stdin.flush()
        except BrokenPipeError:
            raise SessionError("the session has ended before") from None
        printed = []
        for raw in self._process.stdout:
            line = raw.decode("utf-8", "replace").rstrip("\n")
            if line == _END:
                return printed
            printed.append(line)
        raise SessionError("\n".join(printed))

    def close(self):
        self._process.stdin.close()
        self._process.stdout.close()
        self._process.wait(_SECONDS)


def python():
    """The Python of the system, which has its packages, or else this one."""
    return "/usr/bin/python3" if os.path.exists("/usr/bin/python3") else sys.executable


def missing(language, lines):
    """Of the optional packages that a block of R or Python loads, what is not installed."""
    text = "\n".join(lines)
    if language == "r":
        if not shutil.which("R"):
            return ["R"]
        names = re.findall(r"\blibrary\((\w+)\)", text)
        return [name for name in OPTIONAL["r"]
                if name in names and _fails(["Rscript", "--vanilla", "-e", f"loadNamespace('{name}')"])]
    names = re.findall(r"^\s*(?:import|from)\s+(\w+)", text, re.M)
    find = "import importlib.util, sys; sys.exit(not importlib.util.find_spec(sys.argv[1]))"
    return [name for name in OPTIONAL["python"] if name in names and _fails([python(), "-c", find, name])]


def _fails(program):
    return subprocess.run(program, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, check=False).returncode


def compile_block(block, folder, env, includes):
    """What the compiler says against a block of C or C++; None where it takes it."""
    is_c = block.language == "c"
    source = "\n".join(block.text)
    if block.around:
        source = block.around.replace("@block@", source)
    header = "qvreg/c/qvreg_c.h" if is_c else "qvreg/qvreg.h"
    path = os.path.join(folder, f"block-{block.line}.{'c' if is_c else 'cpp'}")
    with open(path, "w", encoding="utf-8") as file:
        file.write(f'#include "{header}"\n{source}\n')
    compiler = [os.environ.get("CC", "gcc"), "-std=c11"] if is_c else [os.environ.get("CXX", "g++"), "-std=c++20"]
    done = subprocess.run(compiler + ["-fsyntax-only"] + [f"-I{one}" for one in includes] + [path], env=env,
                          stdout=subprocess.PIPE, stderr=subprocess.STDOUT, check=False)
    return done.stdout.decode("utf-8", "replace").splitlines() if done.returncode else None
