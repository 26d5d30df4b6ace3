# Holds the rendered manual page against what rbz itself defines.
#
#     python3 man_check.py SRC RBZ RENDERED
#
# RENDERED is the page as plain text (groff -man -Tascii, long lines, no
# hyphenation). Prints every problem and exits 1 when there is one.

import re
import subprocess
import sys

import vocab


def sections(text):
    """Section heading -> its text (headings stand in column 0)."""
    result, current = {}, None
    for line in text.splitlines():
        if re.match(r"^[A-Z][A-Z ]+$", line):
            current = line.strip()
            result[current] = ""
        elif current:
            result[current] += line + "\n"
    return result


def has_word(text, word):
    return re.search(r"(?<![\w=-])" + re.escape(word) + r"(?![\w-])", text) is not None


def problems(text, usage, status_texts, driver_options, version):
    found = []
    part = sections(text)
    if not any(version in line for line in text.splitlines()[-3:]):
        found.append(f"the page footer does not carry version {version}")
    for option in driver_options:
        if not re.search(r"^\s*" + re.escape(option) + r"( |$)", part.get("OPTIONS", ""), re.M):
            found.append(f"OPTIONS has no entry for {option}")
    commands = part.get("COMMANDS", "")
    for primary in usage.primaries:
        if not has_word(part.get("SYNOPSIS", ""), primary):
            found.append(f"SYNOPSIS does not name the command {primary}")
        for option in usage.options[primary]:
            lines = " ".join(l for l in commands.splitlines() if f"{primary} {option}" in l and has_word(l, option))
            if not lines:
                found.append(f"COMMANDS has no entry for {primary} {option}")
            for name in usage.parameters.get((primary, option), []):
                if not re.search(r"(?<!\w)" + re.escape(name) + "=", lines):
                    found.append(f"COMMANDS: {primary} {option} does not show {name}=")
            for value in usage.values.get((primary, option), []):
                if value not in re.split(r"[\s|]+", lines):
                    found.append(f"COMMANDS: {primary} {option} does not list {value}")
        for name in usage.described.get(primary, []):
            if not re.search(r"(?<!\w)" + re.escape(name) + "=", commands):
                found.append(f"COMMANDS does not describe the {primary} parameter {name}=")
    for status in ("0", "13", "16"):
        if not re.search(r"^\s*" + status + r"\s", part.get("EXIT STATUS", ""), re.M):
            found.append(f"EXIT STATUS has no entry for {status}")
    diagnostics = part.get("DIAGNOSTICS", "")
    for table, code, status in status_texts:
        if table == "kDriverTable":
            if not re.search(r"^\s*%d\s+%s\s*$" % (code, re.escape(status.strip())), diagnostics, re.M):
                found.append(f"DIAGNOSTICS has no row {code} {status.strip()}")
        elif status.strip() not in " ".join(diagnostics.split()):
            found.append(f"DIAGNOSTICS does not name the status text {status.strip()}")
    return found


def main():
    src, rbz, rendered = sys.argv[1:4]
    with open(rendered, encoding="ascii", errors="replace") as page:
        text = page.read()
    usage = vocab.read_usage(rbz)
    status_texts = vocab.read_status_texts(src)
    driver_options = vocab.read_driver_options(src) + vocab.read_long_options(rbz)
    banner = subprocess.run([rbz, "-v"], capture_output=True, text=True, check=False).stderr
    version = re.search(r" v(\d+(?:\.\d+)+),", banner).group(1)
    found = problems(text, usage, status_texts, driver_options, version)
    # The comparison must be able to say no: the same page without one option
    # word and one status text has to be refused.
    mutated = text.replace("beeperoff", "beeper").replace("Rassword Required", "Password")
    caught = problems(mutated, usage, status_texts, driver_options, version)
    if not any("beeperoff" in p for p in caught) or not any("Rassword" in p for p in caught):
        found.append("the comparison did not notice a page without beeperoff and Rassword Required")
    for problem in found:
        print("FAIL", problem)
    print("checked %d commands, %d options, %d status texts"
          % (len(usage.primaries), sum(len(o) for o in usage.options.values()), len(status_texts)))
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())
