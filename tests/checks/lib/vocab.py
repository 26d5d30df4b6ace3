# The vocabulary that rbz shows its users, read from where it is defined, so
# that the manual page and the bash completion can be held against it: the
# binary's usage texts (`rbz -h`, `rbz CMD -h`), the status tables in
# cli/status.cpp and the option words the driver scans for in cli/driver.cpp.

import re
import shlex
import subprocess
from dataclasses import dataclass, field

EXAMPLE = re.compile(r"^\t[^\t]*: \./rbz -i 192\.168\.0\.38 -u root (.+)$")
DESCRIBED = re.compile(r"^\t([A-Za-z][A-Za-z0-9/]*): ")


@dataclass
class Usage:
    primaries: list = field(default_factory=list)
    options: dict = field(default_factory=dict)      # primary -> [option, ...]
    parameters: dict = field(default_factory=dict)   # (primary, option) -> [name, ...]
    values: dict = field(default_factory=dict)       # (primary, option) -> [value, ...]
    described: dict = field(default_factory=dict)    # primary -> [name, ...]


def _usage_text(rbz, *words):
    run = subprocess.run([rbz, *words, "-h"], stdin=subprocess.DEVNULL,
                         capture_output=True, text=True, timeout=30, check=True)
    return run.stdout.replace("\r", "").splitlines()


def _add(table, key, item):
    items = table.setdefault(key, [])
    if item not in items:
        items.append(item)


def read_usage(rbz):
    """Everything the usage texts name, by command word: the options of the
    examples, their name= parameters and a/b/c value lists, and the
    parameters each usage describes."""
    usage = Usage()
    for line in _usage_text(rbz):
        if line.startswith("./rbz -i IP -u username "):
            usage.primaries = line.split()[5].split("|")
    for primary in usage.primaries:
        for line in _usage_text(rbz, primary)[1:]:
            example = EXAMPLE.match(line)
            described = DESCRIBED.match(line)
            if example:
                words = shlex.split(example.group(1))
                for option in words[1].split("/"):
                    _add(usage.options, primary, option)
                    for word in words[2:]:
                        if "=" in word:
                            _add(usage.parameters, (primary, option), word.split("=", 1)[0])
                        elif "/" in word and not word.startswith("/"):   # not a path
                            for value in word.split("/"):
                                _add(usage.values, (primary, option), value)
            elif described and described.group(1) not in ("IP", "username", primary):
                for name in described.group(1).split("/"):
                    _add(usage.described, primary, name)
    if not usage.primaries or any(p not in usage.options for p in usage.primaries):
        raise RuntimeError(f"usage texts without commands or examples: {usage}")
    return usage


def read_status_texts(src):
    """(table, code, text) of every entry of the status tables in
    cli/status.cpp, and (name, None, text) of their defaults."""
    texts, table = [], None
    with open(f"{src}/cli/status.cpp", encoding="utf-8") as source:
        for line in source:
            start = re.match(r"^constexpr StatusText (\w+)\[\] = \{", line)
            entry = re.match(r'^\s*\{(\d+),\s*"([^"]*)"\},?\s*$', line)
            default = re.match(r'^constexpr std::string_view (k\w*Default) = "([^"]*)";', line)
            table = start.group(1) if start else table
            if entry and table:
                texts.append((table, int(entry.group(1)), entry.group(2)))
            if default:
                texts.append((default.group(1), None, default.group(2)))
    if len(texts) < 20:
        raise RuntimeError(f"only {len(texts)} status texts found in cli/status.cpp")
    return texts


def read_driver_options(src):
    """The option words ("-i", "-cacert", ...) the driver looks for."""
    with open(f"{src}/cli/driver.cpp", encoding="utf-8") as source:
        options = sorted(set(re.findall(r'"(-[a-z]+)"', source.read())))
    if len(options) < 4:
        raise RuntimeError(f"only {options} found as options in cli/driver.cpp")
    return options


def read_long_options(rbz):
    """The long options ("--json", "--timeout", ...) that rbz --help lists."""
    text = subprocess.run([rbz, "--help"], capture_output=True, text=True, check=True).stdout
    options = re.findall(r"^\s+(--[a-z][a-z-]*)", text, re.M)
    if len(options) < 3:
        raise RuntimeError(f"only {options} found as long options in rbz --help")
    return options
