#!/usr/bin/env python3
"""Does what a page of docs/ tells its reader to do, and looks for what it promises.

In the page's fenced blocks: "```LANGUAGE NAME" is a file of that name, "```sh" holds commands that run the
program, and each line of "```text output" must be in what the last commands wrote.
"""
import os
import pathlib
import re
import subprocess
import sys
import tempfile

BLOCK = re.compile(r"^```(\w+)(?: ([^\n]+))?\n(.*?)^```$", re.M | re.S)


def run_program(program, arguments, folder, environment):
    return subprocess.run([program, *arguments], cwd=folder, stdin=subprocess.DEVNULL, capture_output=True,
                          timeout=60, check=False, env={**os.environ, "NO_COLOR": "1", **environment})


def main(page, program):
    checked = 0
    with tempfile.TemporaryDirectory(prefix="fenwire-docs-") as folder:
        output = ""
        for language, name, body in BLOCK.findall(pathlib.Path(page).read_text()):
            if language == "sh":
                output = ""
                for command in body.splitlines():
                    words = command.split()
                    run = run_program(program, words[1:], folder, {})
                    output += (run.stdout + run.stderr).decode()
            elif name == "output":
                for line in body.splitlines():
                    checked += 1
                    if line not in output:
                        print(f"promised: {line}\nwritten:\n{output}")
                        return 1
            elif name:
                path = pathlib.Path(folder, name)
                path.parent.mkdir(parents=True, exist_ok=True)
                path.write_text(body)
    print(f"{checked} lines hold")
    return 0 if checked else 1


if __name__ == "__main__":
    sys.exit(main(sys.argv[1], sys.argv[2]))
