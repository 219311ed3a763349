#!/usr/bin/env python3
"""test_completion.py COMMAND: types at bash and at zsh, presses the tabulator, and compares the words
that a command of this name gets. A shell that is not installed is named, and its tests are skipped."""
import os
import re
import shutil
import subprocess
import sys
import tempfile
import unittest

from terminal import Terminal

COMMAND = sys.argv.pop(1)

# What the shell runs in place of qvreg: prints its words, one a line.
PRINT = "qvreg() { printf '<%s>\\n' \"$@\"; echo ready-$((40+2)); }"

SETUP = {
    "bash": "bind 'set bell-style none'; bind 'set show-all-if-ambiguous on'; "
    "bind 'set completion-query-items 0'; bind 'set page-completions off'; "
    "bind 'set enable-bracketed-paste off'; source completion; ",
    "zsh": "zstyle ':completion:*' list-prompt ''; LISTMAX=0; setopt no_always_last_prompt no_beep; "
    "unset zle_bracketed_paste; PROMPT_EOL_MARK=; source completion; ",
}
START = {
    "bash": ["bash", "--norc", "--noprofile", "-i"],
    "zsh": ["zsh", "-f", "-i"],
}


def help_of(*command):
    return subprocess.run([COMMAND, *command, "--help"], check=True, capture_output=True, text=True).stdout


class Shell:
    """A shell that completes qvreg, in a folder with files."""

    FILES = ["rows.csv", "rows.txt", "model.pmml", "fit.json", "my rows.csv", "it's.parquet", "sub/inner.tsv"]

    def __init__(self, name):
        self._folder = tempfile.TemporaryDirectory()
        for file in self.FILES:
            path = os.path.join(self._folder.name, file)
            os.makedirs(os.path.dirname(path), exist_ok=True)
            open(path, "w").close()
        script = subprocess.run([COMMAND, "completion", name], check=True, capture_output=True).stdout
        hidden = os.path.join(self._folder.name, "completion")
        with open(hidden, "wb") as file:
            file.write(script)
        environment = {"PATH": os.environ["PATH"], "HOME": self._folder.name, "TERM": "xterm", "PS1": "$ ",
                       "LC_ALL": "C.UTF-8", "COLUMNS": "200", "LINES": "100", "INPUTRC": "/dev/null"}
        self._terminal = Terminal(START[name], self._folder.name, environment)
        begin = "autoload -Uz compinit; compinit -D -u; " if name == "zsh" else ""
        self._run(f"stty cols 200 rows 100; PS1='> '; {begin}{SETUP[name]}{PRINT}; rm completion; qvreg; ")

    def close(self):
        self._terminal.close()
        self._folder.cleanup()

    def _run(self, line):
        self._terminal.type(line + "\n")
        return self._terminal.read_until("ready-42")

    def words(self, line):
        """The words that the command gets when this is typed; \\t completes."""
        printed = self._run(line)
        return re.findall(r"^<(.*)>\r?$", printed, re.MULTILINE)

    def offers(self, line, words):
        """Waits until a tabulator at the end of the line has listed the words; answers all it lists."""
        self._terminal.type(line + "\t\t")
        try:
            return set(self._terminal.read_all(words).split())
        finally:
            # An empty line again.
            self._run("\x15qvreg")


class Completion:
    """What holds in every shell."""

    NAME = ""

    @classmethod
    def setUpClass(cls):
        if shutil.which(cls.NAME) is None:
            raise unittest.SkipTest(f"there is no {cls.NAME}")
        cls.shell = Shell(cls.NAME)

    @classmethod
    def tearDownClass(cls):
        cls.shell.close()

    def check(self, typed, *words):
        self.assertEqual(self.shell.words("qvreg " + typed), list(words), typed)

    def test_a_command(self):
        self.check("desc\t", "describe")
        self.check("comp\tl\tb\t", "completion", "bash")
        self.check("help desc\t", "help", "describe")

    def test_every_command_is_offered(self):
        commands = re.findall(r"^  ([a-z]+) {2}", help_of().split("Commands:")[1].split("\n\n")[0], re.MULTILINE)
        self.assertIn("fit", commands)
        self.shell.offers("qvreg ", commands)

    def test_every_option_is_offered(self):
        for command in ("fit", "describe", "score", "compare", "show", "sql", "completion"):
            options = set(re.findall(r"^  (?:-., )?(--[a-z-]+)", help_of(command), re.MULTILINE))
            self.assertIn("--help", options)
            if len(options) > 1:
                self.shell.offers(f"qvreg {command} --", options)
            else:
                self.check(f"{command} --\t", command, "--help")

    def test_an_option(self):
        self.check("fit --sepa\t 3", "fit", "--separation-from", "3")
        self.check("fit -q --formu\t 'y ~ x'", "fit", "-q", "--formula", "y ~ x")

    def test_values(self):
        self.check("fit --model lo\t", "fit", "--model", "logistic")
        self.check("fit --model 'lo\t", "fit", "--model", "logistic")
        self.shell.offers("qvreg fit --vcov hc", ["hc0", "hc1", "hc2", "hc3"])
        self.check("show --color al\t", "show", "--color", "always")
        self.check("describe --format parq\t --encoding win\t", "describe", "--format", "parquet",
                   "--encoding", "windows-1252")

    def test_a_value_behind_an_equals_sign(self):
        self.check("fit --model=li\t", "fit", "--model=linear")
        self.check("fit --data=mo\t", "fit", "--data=model.pmml")
        self.check("score --model=mo\t", "score", "--model=model.pmml")
        self.shell.offers("qvreg fit --color=", ["auto", "always", "never"])

    def test_a_value_that_may_be_left_out(self):
        self.shell.offers("qvreg fit --anova ", ["1", "2", "3"])
        self.check("fit --anova --vi\t", "fit", "--anova", "--vif")

    def test_files_by_their_ending(self):
        self.check("fit --data rows\t", "fit", "--data", "rows.csv")
        self.check("score -m m\t", "score", "-m", "model.pmml")
        offers = self.shell.offers("qvreg fit --data ", ["rows.csv", "sub/"])
        self.assertNotIn("rows.txt", offers)
        self.assertNotIn("model.pmml", offers)

    def test_any_file_where_none_has_the_ending(self):
        self.check("fit --data rows.t\t", "fit", "--data", "rows.txt")

    def test_files_of_the_command_itself(self):
        self.check("show fi\t", "show", "fit.json")
        self.check("compare model.pmml fi\t", "compare", "model.pmml", "fit.json")

    def test_names_with_blanks_and_quotes(self):
        self.check("fit --data my\t", "fit", "--data", "my rows.csv")
        self.check("fit --data 'my r\t", "fit", "--data", "my rows.csv")
        self.check("fit --data my\\ r\t", "fit", "--data", "my rows.csv")
        self.check("fit --data it\t", "fit", "--data", "it's.parquet")
        self.check("fit --data=my\t", "fit", "--data=my rows.csv")

    def test_folders(self):
        self.check("fit --data su\tin\t", "fit", "--data", "sub/inner.tsv")
        words = self.shell.words("qvreg fit --spool-dir s\t")
        self.assertEqual([word.rstrip("/") for word in words], ["fit", "--spool-dir", "sub"])

    def test_a_list_of_files(self):
        self.check("fit --data rows.csv my\t -q", "fit", "--data", "rows.csv", "my rows.csv", "-q")
        self.check("fit --data rows.csv --stri\t", "fit", "--data", "rows.csv", "--strict")

    def test_nothing_for_a_value_that_is_free(self):
        self.check("fit --formula ro\t", "fit", "--formula", "ro")
        self.check("fit --freq-weight \tn", "fit", "--freq-weight", "n")


class Refusal(unittest.TestCase):
    def check(self, words, message):
        refused = subprocess.run([COMMAND, "completion", *words], capture_output=True, text=True)
        self.assertEqual((refused.returncode, refused.stdout, refused.stderr),
                         (2, "", f"qvreg: {message}\nTry 'qvreg completion --help'.\n"))

    def test_a_shell_that_is_not_known(self):
        self.check(["fish"], "SHELL takes 'bash' or 'zsh', not 'fish'.")

    def test_none_and_two_shells(self):
        for words in ([], ["bash", "zsh"]):
            self.check(words, "Name one shell: qvreg completion bash, or zsh.")


class Bash(Completion, unittest.TestCase):
    NAME = "bash"

    def test_is_bound_to_the_command(self):
        script = 'source <("$0" completion bash); complete -p qvreg'
        printed = subprocess.run(["bash", "--norc", "-c", script, COMMAND], capture_output=True, text=True)
        self.assertEqual((printed.stdout, printed.stderr), ("complete -F _qvreg qvreg\n", ""))

    def test_a_word_that_goes_on_gets_no_blank(self):
        self.check("fit --vcov cl\tclinic", "fit", "--vcov", "cluster:clinic")


class Zsh(Completion, unittest.TestCase):
    NAME = "zsh"

    def test_options_say_what_they_are_for(self):
        self.shell.offers("qvreg fit --", ["Leave", "the", "intercept", "out"])

    def test_loads_from_a_folder_of_functions(self):
        with tempfile.TemporaryDirectory() as folder:
            script = subprocess.run([COMMAND, "completion", "zsh"], check=True, capture_output=True).stdout
            with open(os.path.join(folder, "_qvreg"), "wb") as file:
                file.write(script)
            found = subprocess.run(
                ["zsh", "-f", "-c", 'fpath=("$1" $fpath); autoload -Uz compinit; compinit -D -u; echo $_comps[qvreg]',
                 "zsh", folder], capture_output=True, text=True, check=True)
            self.assertEqual(found.stdout, "_qvreg\n")


if __name__ == "__main__":
    unittest.main()
