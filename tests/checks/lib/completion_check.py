"""Drives the bash completion of rbz in a real bash and checks what it offers.

    python3 completion_check.py SRC RBZ COMPLETION_FILE SHARE_DIR

1. COMP_WORDS driven: for each command line, bash gets COMP_LINE,
   COMP_POINT, COMP_WORDS and COMP_CWORD split the way bash splits them
   (at the characters of COMP_WORDBREAKS) and runs _rbz. The lines come from
   rbz's own usage texts (every command, option, parameter name and value
   list they show) and from a table of cases for the finer points.
2. Readline: an interactive bash on a pseudo-terminal gets keys typed,
   TABs included, and runs `echo` on the completed line; once with the file
   sourced, once with bash-completion loading it from SHARE_DIR on demand.

Prints every problem and exits 1 when there is one.
"""

import os
import pty
import select
import shlex
import subprocess
import sys
import tempfile
import time

import vocab

BASH = ["bash", "--norc", "--noprofile"]


def split_like_bash(line, breaks):
    """COMP_WORDS of a line with the cursor at its end: blanks separate
    words, a run of other word-break characters is a word of its own,
    quoted text stays in its word."""
    blanks = " \t\n"
    delimiters = set(breaks) - set(blanks) - set("\"'")
    words, word, i = [], "", 0
    while i < len(line):
        c = line[i]
        if c in blanks:
            if word:
                words.append(word)
            word = ""
            i += 1
        elif c in "\"'":
            end = line.find(c, i + 1)
            end = len(line) - 1 if end < 0 else end
            word += line[i:end + 1]
            i = end + 1
        elif c in delimiters:
            if word:
                words.append(word)
            run = i
            while i < len(line) and line[i] in delimiters:
                i += 1
            word = ""
            words.append(line[run:i])
        else:
            word += c
            i += 1
    if word or not line or line[-1] in blanks:
        words.append(word)
    return words


class Case:
    def __init__(self, line, include=(), exact=None, exclude=(), nospace=None, label=None):
        self.line = line
        self.include = list(include)
        self.exact = exact
        self.exclude = list(exclude)
        self.nospace = nospace
        self.label = label or line


def usage_cases(usage, connection):
    cases = [Case("rbz ", include=usage.primaries + connection),
             Case("rbz -i esx1 -u root ", include=usage.primaries)]
    for primary in usage.primaries:
        cases.append(Case(f"rbz -i esx1 -u root {primary} ", include=usage.options[primary]))
        for option in usage.options[primary]:
            cases.append(Case(f"rbz {primary} {option[:3]}", include=[option],
                              label=f"rbz {primary} {option[:3]}<TAB> offers {option}"))
            names = [n + "=" for n in usage.parameters.get((primary, option), [])]
            values = usage.values.get((primary, option), [])
            if names:
                cases.append(Case(f"rbz -i esx1 -u root {primary} {option} ", include=names,
                                  nospace=True))
            if values:
                cases.append(Case(f"rbz {primary} {option} ", include=values, nospace=False))
    return cases


def fixed_cases(connection):
    """The finer points; `connection` is every option the driver reads."""
    given = lambda *words: [o for o in connection if o not in words]  # noqa: E731
    return [
        # The current word is joined back from the pieces bash splits it into.
        Case("rbz vsf create ca", exact=["cache=", "cap="], nospace=True),
        Case("rbz vsf create cache=", exact=["0", "1"], nospace=False),
        Case("rbz vsf create strp=12", exact=["128"]),
        Case("rbz -i esx1 -u root vsf create ll=", exact=["0", "1", "3", "5", "6"]),
        Case("rbz vsf create name=", exact=[]),
        # Names already given are not offered again, whatever their case.
        Case('rbz vsf create name="Vol#02" id=0 ', include=["lun=", "RAIDNo=", "tag="],
             exclude=["name=", "id="]),
        Case("rbz disk inq Enc=2 ", exact=["slot="], nospace=True),
        Case('rbz -i esx1 -u root rsf create MemberDisks=3 Enc=2 Name="RAID#01" ',
             exact=["DiskArray="]),
        Case("rbz vsf delete num=2 ", exclude=["num="], include=connection),
        # Values of sys options, and nothing after the value but options.
        Case("rbz sys mode ", exact=["raid", "jbod"], nospace=False),
        Case("rbz sys maxcmdlen 5", exact=["512K"]),
        Case("rbz sys mode raid ", exact=connection),
        # Connection options anywhere; those given are not offered again.
        Case("rbz -", exact=connection),
        Case("rbz vsf create name=x -", exact=connection),
        Case("rbz -i esx1 -u root sys info -", exact=given("-i", "-u")),
        Case("rbz -i esx1 -u root -c", exact=[o for o in given("-i", "-u") if o.startswith("-c")]),
        Case("rbz sys info ", exact=connection),
        # Option values are skipped when finding the command, ":" included.
        Case("rbz -i esx1:5989 -u root ", include=["sys", "disk"], exclude=["root", "esx1"]),
        Case("rbz -i 10.0.0.5:5989 -u root sys b", exact=["beeperon", "beeperoff"]),
        Case("rbz -w 5 disk ", include=["info", "inq", "cpt", "mpt", "dpt"]),
        Case("rbz -u ", exact=["root"]),
        Case("rbz -w ", exact=[]),
        Case("rbz -cacert ", include=["ca.pem", "client.key"]),
        Case("rbz -i esx1 -clientkey cl", exact=["client.key"]),
        Case("rbz rsf ex", exact=["expand"]),
        Case("rbz rsf activate ", exact=["RAIDNo="]),
        Case("rbz event ", exact=["info", "clear"]),
    ]


def run_cases(cases, completion, breaks, workdir):
    script = [f"source {shlex.quote(completion)}",
              "__opts=",
              "compopt() { __opts+=\" $*\"; return 0; }",
              "run_case() {",
              "    local id=$1",
              "    COMP_CWORD=$2 COMP_LINE=$3",
              "    COMP_POINT=${#COMP_LINE}",
              "    shift 3",
              "    COMP_WORDS=(\"$@\")",
              "    __opts= COMPREPLY=()",
              "    _rbz rbz \"${COMP_WORDS[COMP_CWORD]}\" \"${COMP_WORDS[COMP_CWORD-1]}\"",
              "    printf '@@CASE %s\\n' \"$id\"",
              "    ((${#COMPREPLY[@]})) && printf 'R:%s\\n' \"${COMPREPLY[@]}\"",
              "    printf 'O:%s\\n' \"$__opts\"",
              "}",
              f"cd {shlex.quote(workdir)}"]
    for n, case in enumerate(cases):
        words = split_like_bash(case.line, breaks)
        script.append("run_case %d %d %s %s" % (n, len(words) - 1, shlex.quote(case.line),
                                                " ".join(shlex.quote(w) for w in words)))
    run = subprocess.run(BASH + ["-s"], input="\n".join(script) + "\n", capture_output=True,
                         text=True, timeout=120, check=False, env={"PATH": os.environ["PATH"]})
    if run.returncode != 0 or run.stderr:
        raise RuntimeError(f"bash ended with {run.returncode}: {run.stderr}")
    results = {}
    current = None
    for line in run.stdout.splitlines():
        if line.startswith("@@CASE "):
            current = int(line.split()[1])
            results[current] = ([], "")
        elif line.startswith("R:"):
            results[current][0].append(line[2:])
        elif line.startswith("O:"):
            results[current] = (results[current][0], line[2:])
    return results


def judge(cases, results):
    problems = []
    for n, case in enumerate(cases):
        if n not in results:
            problems.append(f"{case.label!r}: no answer")
            continue
        replies, opts = results[n]
        if case.exact is not None and sorted(replies) != sorted(case.exact):
            problems.append(f"{case.label!r}: offered {replies}, expected exactly {case.exact}")
        missing = [w for w in case.include if w not in replies]
        if missing:
            problems.append(f"{case.label!r}: does not offer {missing} (offered {replies})")
        unwanted = [w for w in case.exclude if w in replies]
        if unwanted:
            problems.append(f"{case.label!r}: offers {unwanted}")
        if case.nospace is not None and ("nospace" in opts) != case.nospace:
            problems.append(f"{case.label!r}: nospace {'not ' if case.nospace else ''}requested")
    return problems


def described_problems(usage, cases, results):
    """Every parameter that a command's usage describes is offered by one of
    its options."""
    problems = []
    for primary, names in usage.described.items():
        offered = set()
        for n, case in enumerate(cases):
            if case.line.startswith(f"rbz -i esx1 -u root {primary} ") and n in results:
                offered.update(results[n][0])
        for name in names:
            if name + "=" not in offered:
                problems.append(f"the {primary} parameter {name} of the usage is offered by no option")
    return problems


class Terminal:
    """An interactive bash on a pseudo-terminal."""

    def __init__(self, env):
        self.pid, self.fd = pty.fork()
        if self.pid == 0:
            os.execvpe("bash", BASH + ["-i"], env)
        self.output = b""

    def type(self, keys):
        os.write(self.fd, keys.encode())

    def read_until(self, marker, count, deadline):
        while self.output.count(marker) < count and time.monotonic() < deadline:
            self._read()
        return self.output.count(marker) >= count

    def _read(self):
        ready, _, _ = select.select([self.fd], [], [], 0.2)
        if ready:
            try:
                self.output += os.read(self.fd, 65536)
            except OSError:
                time.sleep(0.2)

    def lines(self, prefix):
        """The lines of output that begin with `prefix` (command output;
        what readline echoes begins with the prompt)."""
        text = self.output.decode(errors="replace").replace("\r", "")
        return [line for line in text.split("\n") if line.startswith(prefix)]

    def wait_for_prompt_after(self, prefix, count, deadline):
        """Waits for the count-th output line that begins with `prefix`, and
        for the prompt after it, where readline has the terminal again."""
        while time.monotonic() < deadline:
            if len(self.lines(prefix)) >= count:
                last = self.output.rfind(b"\n" + prefix.encode())
                if last >= 0 and PROMPT in self.output[last:]:
                    return True
            self._read()
        return False

    def close(self):
        try:
            self.type("exit\n")
        except OSError:
            pass
        deadline = time.monotonic() + 10
        while time.monotonic() < deadline:
            done, _ = os.waitpid(self.pid, os.WNOHANG)
            if done:
                break
            self.read_until(b"\0", 1, time.monotonic() + 0.2)
        else:
            os.kill(self.pid, 9)
            os.waitpid(self.pid, 0)
        os.close(self.fd)


# Keys typed (TAB = \t), and the completed line. Ctrl-A goes to the start of
# the line, where `echo RESULT:` turns the line into something harmless.
READLINE_CASES = [
    ("rbz sy\tin\t", "rbz sys info"),
    ("rbz -i esx1 -u ro\tsys ma\t5\t", "rbz -i esx1 -u root sys maxcmdlen 512K"),
    ("rbz vsf create cac\t1 str\t12\t", "rbz vsf create cache=1 strp=128"),
    ('rbz vsf create name="Vol#02" RAIDNo=1 RAI\t', 'rbz vsf create name=Vol#02 RAIDNo=1 RAI'),  # the shell drops the quotes
    ("rbz disk inq enc=2 \t11", "rbz disk inq enc=2 slot=11"),
    ("rbz rsf del\tRA\t2", "rbz rsf delete RAIDNo=2"),
    ("rbz event cl\t-clientk\tclient.k\t", "rbz event clear -clientkey client.key"),
]


PROMPT = b"@@rbz> "


def readline_problems(setup, env, workdir):
    """Types each case at a fresh prompt (readline has the terminal then)."""
    problems = []
    term = Terminal(dict(env, PS1=PROMPT.decode()))
    deadline = time.monotonic() + 60
    try:
        ready = term.read_until(PROMPT, 1, deadline)
        term.type(f"cd {shlex.quote(workdir)}; {setup}; echo READY.\n")
        ready = ready and term.wait_for_prompt_after("READY.", 1, deadline)
        for n, (keys, _) in enumerate(READLINE_CASES):
            if not ready:
                break
            term.type(keys + "\x01echo RESULT: \n")
            ready = term.wait_for_prompt_after("RESULT: ", n + 1, deadline)
        results = [line[len("RESULT: "):] for line in term.lines("RESULT: ")]
        if not ready or len(results) != len(READLINE_CASES):
            text = term.output.decode(errors="replace")
            problems.append(f"the terminal gave {len(results)} of {len(READLINE_CASES)} "
                            f"lines: {text[-600:]!r}")
        for (keys, expected), got in zip(READLINE_CASES, results):
            if got.rstrip() != expected:
                problems.append(f"typed {keys!r}: got {got!r}, expected {expected!r}")
    finally:
        term.close()
    return problems


def main():
    src, rbz, completion, share = sys.argv[1:5]
    usage = vocab.read_usage(rbz)
    breaks = subprocess.run(BASH + ["-c", 'printf %s "$COMP_WORDBREAKS"'], capture_output=True,
                            text=True, check=True).stdout
    problems = []
    with tempfile.TemporaryDirectory() as workdir:
        for name in ("ca.pem", "client.key"):
            open(os.path.join(workdir, name), "w").close()

        connection = vocab.read_driver_options(src)
        cases = usage_cases(usage, connection) + fixed_cases(connection)
        results = run_cases(cases, completion, breaks, workdir)
        problems += judge(cases, results)
        problems += described_problems(usage, cases, results)
        print(f"ok   {len(cases)} COMP_WORDS cases ran" if not problems else
              f"FAIL {len(problems)} of the COMP_WORDS checks")

        # The comparison must be able to say no: a completion that has lost
        # one option has to be caught.
        broken = os.path.join(workdir, "broken")
        with open(completion, encoding="utf-8") as source, open(broken, "w", encoding="utf-8") as out:
            out.write(source.read().replace(" beeperoff ", " "))
        if not any("beeperoff" in p for p in judge(cases, run_cases(cases, broken, breaks, workdir))):
            problems.append("the checks did not notice a completion without beeperoff")

        env = {"PATH": os.environ["PATH"], "TERM": "dumb", "INPUTRC": "/dev/null",
               "HOME": workdir, "BASH_COMPLETION_USER_DIR": os.path.join(workdir, "none")}
        found = readline_problems(f"source {shlex.quote(completion)}", env, workdir)
        print("ok   readline, file sourced" if not found else "FAIL readline, file sourced")
        problems += found

        lazy = dict(env, XDG_DATA_DIRS=share)
        found = readline_problems("source /usr/share/bash-completion/bash_completion", lazy, workdir)
        print("ok   readline, loaded by bash-completion from " + share if not found else
              "FAIL readline, loaded by bash-completion from " + share)
        problems += found

    for problem in problems:
        print("FAIL", problem)
    return 1 if problems else 0


if __name__ == "__main__":
    sys.exit(main())
