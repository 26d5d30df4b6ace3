"""Holds the rendered manual page against what rbz itself defines.

    python3 man_check.py SRC RBZ RENDERED

RENDERED is the page as plain text (groff -man -Tascii, long lines, no
hyphenation). Prints every problem and exits 1 when there is one.
"""

import re
import subprocess
import sys

import vocab

SECTIONS = ["NAME", "SYNOPSIS", "DESCRIPTION", "OPTIONS", "COMMANDS", "EXIT STATUS",
            "ENVIRONMENT", "FILES", "DIAGNOSTICS", "EXAMPLES", "SEE ALSO"]


def sections(text):
    """Section heading -> its lines (headings stand in column 0)."""
    result, current = {}, None
    for line in text.splitlines():
        if re.match(r"^[A-Z][A-Z ]+$", line):
            current = line.strip()
            result[current] = []
        elif current:
            result[current].append(line)
    return result


def has_word(text, word):
    return re.search(r"(?<![\w=-])" + re.escape(word) + r"(?![\w-])", text) is not None


def has_parameter(text, name):
    return re.search(r"(?<!\w)" + re.escape(name) + "=", text) is not None


def problems(text, usage, status_texts, driver_options, version):
    found = []
    parts = sections(text)
    for name in SECTIONS:
        if name not in parts:
            found.append(f"no section {name}")
    get = lambda name: parts.get(name, [])  # noqa: E731
    flat = lambda lines: " ".join(" ".join(lines).split())  # noqa: E731

    if not any(version in line for line in text.splitlines()[-3:]):
        found.append(f"the page footer does not carry version {version}")

    synopsis = flat(get("SYNOPSIS"))
    for primary in usage.primaries:
        if not has_word(synopsis, primary):
            found.append(f"SYNOPSIS does not name the command {primary}")

    tags = {line.strip() for line in get("OPTIONS")}
    for option in driver_options:
        if not any(tag == option or tag.startswith(option + " ") for tag in tags):
            found.append(f"OPTIONS has no entry for {option}")

    commands = get("COMMANDS")
    commands_text = flat(commands)
    for primary in usage.primaries:
        for option in usage.options[primary]:
            lines = [line for line in commands if f"{primary} {option}" in line
                     and has_word(line, option)]
            if not lines:
                found.append(f"COMMANDS has no entry for {primary} {option}")
                continue
            for name in usage.parameters.get((primary, option), []):
                if not any(has_parameter(line, name) for line in lines):
                    found.append(f"COMMANDS: {primary} {option} does not show {name}=")
            for value in usage.values.get((primary, option), []):
                if not any(value in re.split(r"[\s|]+", line) for line in lines):
                    found.append(f"COMMANDS: {primary} {option} does not list {value}")
        for name in usage.described.get(primary, []):
            if not has_parameter(commands_text, name):
                found.append(f"COMMANDS does not describe the {primary} parameter {name}=")

    statuses = {line.split()[0] for line in get("EXIT STATUS") if line.strip()}
    for status in ("0", "13", "16"):
        if status not in statuses:
            found.append(f"EXIT STATUS has no entry for {status}")

    environment = flat(get("ENVIRONMENT"))
    for variable in ("CURLDEBUG", "VOSTREL_IND"):
        if not has_word(environment, variable):
            found.append(f"ENVIRONMENT does not name {variable}")
    if "vostrel.ind" not in flat(get("FILES")):
        found.append("FILES does not name vostrel.ind")

    diagnostics = get("DIAGNOSTICS")
    diagnostics_text = flat(diagnostics)
    for table, code, status in status_texts:
        status = status.strip()
        if table == "kDriverTable":
            row = re.compile(r"^\s*" + str(code) + r"\s+" + re.escape(status) + r"\s*$")
            if not any(row.match(line) for line in diagnostics):
                found.append(f"DIAGNOSTICS has no row {code} {status}")
        elif status not in diagnostics_text:
            found.append(f"DIAGNOSTICS does not name the status text {status}")

    examples = [" ".join(line.split()) for line in get("EXAMPLES")]
    for primary in usage.primaries:
        pattern = re.compile(r"^rbz .*\b" + primary + r" (" + "|".join(usage.options[primary]) + r")\b")
        if not any(pattern.match(line) for line in examples):
            found.append(f"EXAMPLES has no example of {primary}")
    return found


def main():
    src, rbz, rendered = sys.argv[1:4]
    with open(rendered, encoding="ascii", errors="replace") as page:
        text = page.read()
    usage = vocab.read_usage(rbz)
    status_texts = vocab.read_status_texts(src)
    driver_options = vocab.read_driver_options(src)
    banner = subprocess.run([rbz, "-v"], capture_output=True, text=True, check=False).stderr
    version = re.search(r" v(\d+(?:\.\d+)+),", banner)
    if not version:
        print(f"no version in the banner: {banner!r}")
        return 1
    version = version.group(1)

    found = problems(text, usage, status_texts, driver_options, version)
    for problem in found:
        print("FAIL", problem)

    # The comparison must be able to say no: the same page without one option
    # word and one status text has to be refused.
    mutated = text.replace("beeperoff", "beeper").replace("Rassword Required", "Password")
    caught = problems(mutated, usage, status_texts, driver_options, version)
    if not any("beeperoff" in p for p in caught) or not any("Rassword" in p for p in caught):
        print("FAIL the comparison did not notice a page without beeperoff and Rassword Required")
        found.append("control")

    counted = (len(usage.primaries), sum(len(o) for o in usage.options.values()),
               sum(len(p) for p in usage.parameters.values()), len(status_texts))
    print("checked %d commands, %d options, %d parameter uses, %d status texts" % counted)
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())
