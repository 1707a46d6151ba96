#!/usr/bin/env python3
"""Makes the README's picture of a run: what a terminal shows after `./kalvor custom pi -dec:10m`, in its colours.

    docs/run-picture.py > docs/run.svg

Runs the program from the checkout's folder in a pseudo-terminal of 80 columns and draws the screen that is left, from the
line that begins with "Version:" on. Lines of the phases between the series and the digits are as they were printed.
"""
import os
import pty
import re
import subprocess
import sys
import tempfile
from html import escape

COLUMNS, LINE_HEIGHT, CHARACTER_WIDTH, MARGIN = 80, 17, 8.43, 14
COLORS = {30: "#000", 31: "#c33", 32: "#3a3", 33: "#b90", 34: "#46c", 35: "#b4b", 36: "#2aa", 37: "#ccc",
          90: "#888", 91: "#f66", 92: "#6d6", 93: "#ed5", 94: "#79f", 95: "#f8f", 96: "#6dd", 97: "#fff"}
PLAIN = "#ccc"


def run(command):
    """What the command wrote to its terminal. A shell stands between, as it does for a user."""
    main, inner = pty.openpty()
    child = subprocess.Popen(["sh", "-c", command + "; exit $?"], stdin=subprocess.DEVNULL, stdout=inner,
                             stderr=inner, env={**os.environ, "TERM": "xterm-256color", "COLUMNS": str(COLUMNS)})
    os.close(inner)
    text = b""
    while True:
        try:
            piece = os.read(main, 65536)
        except OSError:
            break
        if not piece:
            break
        text += piece
    if child.wait() != 0:
        sys.exit("The run failed:\n" + text.decode())
    return text.decode()


def screen(text):
    """The lines that are left when carriage returns and erasures have been obeyed: lists of (character, color)."""
    lines, line, column, color = [], [], 0, PLAIN
    for token in re.findall(r"\x1b\[[0-9;?]*[A-Za-z]|[^\x1b]", text):
        if token.startswith("\x1b"):
            if token.endswith("m"):
                codes = [int(n or 0) for n in token[2:-1].split(";")]
                color = next((COLORS[n] for n in codes if n in COLORS), PLAIN)
            elif token.endswith("K"):
                del line[column:]
        elif token == "\n":
            lines.append(line)
            line, column = [], 0
        elif token == "\r":
            column = 0
        else:
            line += [(" ", PLAIN)] * (column + 1 - len(line))
            line[column] = (token, color)
            column += 1
    return lines + [line]


def drawn(line):
    """The line as text of one color after another."""
    parts = []
    for character, color in line:
        if parts and (parts[-1][1] == color or character == " "):
            parts[-1][0] += character
        else:
            parts.append([character, color])
    return "".join(f'<tspan fill="{color}">{escape(text)}</tspan>' for text, color in parts)


def main():
    os.chdir(os.path.join(os.path.dirname(os.path.abspath(__file__)), ".."))
    subprocess.run(["./kalvor", "about"], stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, check=True)
    with tempfile.TemporaryDirectory(prefix="kalvor-") as folder:
        program = os.path.abspath("kalvor")
        os.chdir(folder)
        lines = screen(run(f"'{program}' custom pi -dec:10m"))
    texts = ["".join(character for character, _ in line).rstrip() for line in lines]
    first = next(i for i, text in enumerate(texts) if text.startswith("Version:"))
    last = max(i for i, text in enumerate(texts) if text)
    lines = [[(c, "#fff") for c in "$ ./kalvor custom pi -dec:10m"], []] + lines[first:last + 1]
    # The window is as wide as a terminal of 80 columns; longer lines go on in the next one.
    lines = [line[i:i + COLUMNS] for line in lines for i in range(0, max(len(line), 1), COLUMNS)]
    width, height = round(COLUMNS * CHARACTER_WIDTH + 2 * MARGIN), len(lines) * LINE_HEIGHT + 2 * MARGIN
    print(f'<svg xmlns="http://www.w3.org/2000/svg" width="{width}" height="{height}" viewBox="0 0 {width} {height}">')
    print(f'<rect width="{width}" height="{height}" rx="6" fill="#16181d"/>')
    print('<g font-family="ui-monospace, Menlo, Consolas, monospace" font-size="14" xml:space="preserve">')
    for i, line in enumerate(lines):
        while line and line[-1][0] == " ":
            line.pop()
        if line:
            length, baseline = round(len(line) * CHARACTER_WIDTH, 1), MARGIN + i * LINE_HEIGHT + 13
            print(f'<text x="{MARGIN}" y="{baseline}" textLength="{length}">{drawn(line)}</text>')
    print("</g>\n</svg>")


main()
