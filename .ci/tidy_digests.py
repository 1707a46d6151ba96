#!/usr/bin/env python3
"""For each source file, the digest of all that clang-tidy's opinion of it depends on in this repository: the file, the
headers that it includes, those that these include, and .clang-tidy. One line a file: digest, two blanks, name."""
import functools
import hashlib
import os
import re
import sys

INCLUDE = re.compile(rb'^[ \t]*#[ \t]*include[ \t]*"([^"]+)"', re.M)


@functools.lru_cache(maxsize=None)
def read(path):
    with open(path, "rb") as file:
        text = file.read()
    folder = os.path.dirname(path)
    found = []
    for name in INCLUDE.findall(text):
        for place in (os.path.join(folder, name.decode()), os.path.join("src", name.decode())):
            if os.path.isfile(place):
                found.append(os.path.normpath(place))
                break
    return hashlib.sha256(text).hexdigest(), tuple(found)


def digest(path):
    seen = {".clang-tidy", path}
    waiting = [path]
    while waiting:
        for header in read(waiting.pop())[1]:
            if header not in seen:
                seen.add(header)
                waiting.append(header)
    return hashlib.sha256("".join(f"{name} {read(name)[0]}\n" for name in sorted(seen)).encode()).hexdigest()


for name in sys.argv[1:]:
    print(f"{digest(name)}  {name}")
