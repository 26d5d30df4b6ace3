# Types command lines into an interactive bash on a pseudo-terminal and
# checks what the bash completion of rbz offers (every command, option,
# parameter name and value list of rbz's usage texts, and a table of finer
# points) and the lines it completes, with the file sourced and with
# bash-completion loading it from SHARE_DIR on demand.
#
#     python3 completion_check.py SRC RBZ COMPLETION_FILE SHARE_DIR

import os
import pty
import select
import shlex
import sys
import tempfile
import time

import vocab

# Records what _rbz offers on each TAB, and its compopt calls.
RECORDER = """complete -F _rbz_recorded rbz
compopt() { __opts+=" $*"; builtin compopt "$@"; }
_rbz_recorded() { __opts=; _rbz "$@"; printf '%s\\n' "@@CASE" "${COMPREPLY[@]/#/R:}" "O:$__opts" >>"$RESULTS"; }"""

# Keys typed (TAB = \t), and the completed line.
TYPED = [("rbz sy\tin\t", "rbz sys info"),
         ("rbz -i esx1 -u ro\tsys ma\t5\t", "rbz -i esx1 -u root sys maxcmdlen 512K"),
         ("rbz vsf create cac\t1 str\t12\t", "rbz vsf create cache=1 strp=128"),
         ("rbz disk inq enc=2 \t11", "rbz disk inq enc=2 slot=11"),
         ("rbz event cl\t-clientk\tclient.k\t", "rbz event clear -clientkey client.key")]


def type_in_bash(setup, steps, workdir, **env):
    """Runs `setup` in an interactive bash, then types the keys of each step
    once the results file holds a line beginning with "@@" for each step
    before; returns the file's lines."""
    results = os.path.join(workdir, "results")
    open(results, "w").close()
    env.update(PATH=os.environ["PATH"], TERM="dumb", INPUTRC="/dev/null", HOME=workdir, RESULTS=results)
    pid, fd = pty.fork()
    if pid == 0:
        os.execvpe("bash", ["bash", "--norc", "--noprofile", "-i"], env)
    deadline = time.monotonic() + 60
    lines = []
    try:
        os.write(fd, f"cd {shlex.quote(workdir)}; {setup}; echo @@READY >>$RESULTS\n".encode())
        for n, keys in enumerate([""] + steps):
            os.write(fd, keys.encode())
            while sum(line.startswith("@@") for line in lines) < n + 1 and time.monotonic() < deadline:
                if select.select([fd], [], [], 0.01)[0]:
                    os.read(fd, 65536)   # the terminal's output is not looked at
                with open(results, encoding="utf-8", errors="replace") as f:
                    lines = f.read().splitlines()
    finally:
        os.write(fd, b"\x15exit\n")
        end = time.monotonic() + 10
        while not os.waitpid(pid, os.WNOHANG)[0]:
            if time.monotonic() > end:
                os.kill(pid, 9)
            try:
                if select.select([fd], [], [], 0.1)[0]:
                    os.read(fd, 65536)
            except OSError:   # the terminal is gone with the shell
                pass
        os.close(fd)
    return lines[1:]


def case(line, include=(), exact=None, exclude=(), nospace=None):
    return {"line": line, "include": list(include), "exact": exact, "exclude": list(exclude), "nospace": nospace}


def usage_cases(usage, connection):
    cases = [case("rbz ", include=usage.primaries + connection),
             case("rbz -i esx1 -u root ", include=usage.primaries)]
    for primary in usage.primaries:
        cases.append(case(f"rbz -i esx1 -u root {primary} ", include=usage.options[primary]))
        for option in usage.options[primary]:
            cases.append(case(f"rbz {primary} {option[:3]}", include=[option]))
            names = [n + "=" for n in usage.parameters.get((primary, option), [])]
            if names:
                cases.append(case(f"rbz -i esx1 -u root {primary} {option} ", include=names, nospace=True))
            if (primary, option) in usage.values:
                cases.append(case(f"rbz {primary} {option} ", include=usage.values[(primary, option)],
                                  nospace=False))
    return cases


def long_cases(long_options):
    """Every long option after "--"; the values of those that take one."""
    return [
        case("rbz --", exact=long_options),
        case("rbz -i esx1 -u root sys info --", exact=long_options),
        case("rbz --json --ver", exact=["--verify", "--version"]),
        case("rbz --json --", exclude=["--json"], include=["--timeout"]),
        case("rbz --timeout ", exact=[]),
        case("rbz --pin ", exact=[]),
        case("rbz --password-file ", include=["ca.pem", "client.key"]),
        # Their values are skipped when finding the command.
        case("rbz --timeout 5 --password-file ca.pem -i esx1 -u root ", include=["sys", "disk"],
             exclude=["5", "ca.pem"]),
        case("rbz --pin sha256//x sys ", include=["info", "chgpw"]),
    ]


def fixed_cases(connection):
    """The finer points; `connection` is every option the driver reads."""
    return [
        # The current word is joined back from the pieces bash splits it into.
        case("rbz vsf create ca", exact=["cache=", "cap="], nospace=True),
        case("rbz vsf create cache=", exact=["0", "1"], nospace=False),
        case("rbz vsf create strp=12", exact=["128"]),
        case("rbz -i esx1 -u root vsf create ll=", exact=["0", "1", "3", "5", "6"]),
        case("rbz vsf create name=", exact=[]),
        # Names already given are not offered again, whatever their case.
        case('rbz vsf create name="Vol#02" id=0 ', include=["lun=", "RAIDNo=", "tag="], exclude=["name=", "id="]),
        case("rbz disk inq Enc=2 ", exact=["slot="], nospace=True),
        # Values of sys options, and nothing after the value but options.
        case("rbz sys mode ", exact=["raid", "jbod"], nospace=False),
        case("rbz sys mode raid ", exact=connection),
        # Connection options anywhere; those given are not offered again.
        case("rbz -", exact=connection),
        case("rbz -i esx1 -u root sys info -", exact=[o for o in connection if o not in ("-i", "-u")]),
        # Option values are skipped when finding the command, ":" included.
        case("rbz -i esx1:5989 -u root ", include=["sys", "disk"], exclude=["root", "esx1"]),
        case("rbz -u ", exact=["root"]),
        case("rbz -w ", exact=[]),
        case("rbz -cacert ", include=["ca.pem", "client.key"]),
        case("rbz event ", exact=["info", "clear"]),
    ]


def offered(completion, cases, workdir):
    """(offered words, compopt arguments) of each case: its line, TAB, and the
    line wiped again (Ctrl-U)."""
    lines = type_in_bash(f"source {shlex.quote(completion)}; {RECORDER}",
                         [c["line"] + "\t\x15" for c in cases], workdir)
    results = []
    for line in lines:
        if line == "@@CASE":
            results.append(([], ""))
        elif line.startswith("R:"):
            results[-1][0].append(line[2:])
        elif line.startswith("O:"):
            results[-1] = (results[-1][0], line[2:])
    return results


def judge(cases, results):
    problems = [] if len(results) == len(cases) else [f"{len(results)} answers to {len(cases)} cases"]
    for c, (words, opts) in zip(cases, results):
        label = repr(c["line"])
        if c["exact"] is not None and sorted(words) != sorted(c["exact"]):
            problems.append(f"{label}: offered {words}, expected exactly {c['exact']}")
        if [w for w in c["include"] if w not in words] or [w for w in c["exclude"] if w in words]:
            problems.append(f"{label}: offered {words}, expected {c['include']} and not {c['exclude']}")
        if c["nospace"] is not None and ("nospace" in opts) != c["nospace"]:
            problems.append(f"{label}: nospace {'not ' if c['nospace'] else ''}requested")
    return problems


def typed_problems(setup, workdir, **env):
    """Each line typed, then Ctrl-A and `echo RESULT:` in front of it, Ctrl-E
    and the results file after it."""
    lines = type_in_bash(setup, [keys + "\x01echo @@RESULT: \x05 >>$RESULTS\n" for keys, _ in TYPED],
                         workdir, **env)
    got = [" ".join(line.split()[1:]) for line in lines]
    return [f"{setup}: typed {keys!r}: got {result!r}, expected {expected!r}"
            for (keys, expected), result in zip(TYPED, got + [None] * len(TYPED)) if result != expected]


def main():
    src, rbz, completion, share = sys.argv[1:3] + [os.path.abspath(p) for p in sys.argv[3:5]]
    usage = vocab.read_usage(rbz)
    connection = vocab.read_driver_options(src)
    long_options = vocab.read_long_options(rbz)
    cases = usage_cases(usage, connection) + fixed_cases(connection) + long_cases(long_options)
    with tempfile.TemporaryDirectory() as workdir:
        for name in ("ca.pem", "client.key"):
            open(os.path.join(workdir, name), "w").close()
        results = offered(completion, cases, workdir)
        problems = judge(cases, results)
        # Every parameter a command's usage describes is offered by one of its options.
        for primary, names in usage.described.items():
            words = {w for c, (found, _) in zip(cases, results)
                     if c["line"].startswith(f"rbz -i esx1 -u root {primary} ") for w in found}
            problems += [f"the {primary} parameter {n} of the usage is offered by no option"
                         for n in names if n + "=" not in words]
        # The comparison must be able to say no: a completion that has lost
        # one option has to be caught.
        broken = os.path.join(workdir, "broken")
        with open(completion, encoding="utf-8") as source, open(broken, "w", encoding="utf-8") as out:
            out.write(source.read().replace(" beeperoff ", " "))
        if not any("beeperoff" in p for p in judge(cases, offered(broken, cases, workdir))):
            problems.append("the checks did not notice a completion without beeperoff")
        problems += typed_problems(f"source {shlex.quote(completion)}", workdir)
        problems += typed_problems("source /usr/share/bash-completion/bash_completion", workdir,
                                   XDG_DATA_DIRS=share, BASH_COMPLETION_USER_DIR=os.path.join(workdir, "none"))
    for problem in problems:
        print("FAIL", problem)
    print(f"{len(cases)} completions and {len(TYPED)} typed lines checked, twice")
    return 1 if problems else 0


if __name__ == "__main__":
    sys.exit(main())
