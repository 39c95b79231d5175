#!/usr/bin/env python3
"""junit-cases.py FILE: the cases of a JUnit result file, KIND and NAME a line, for tools/counting.sh."""

import sys
import xml.etree.ElementTree as tree

for case in tree.parse(sys.argv[1]).iter("testcase"):
    kind = "passed"
    if case.find("failure") is not None or case.find("error") is not None:
        kind = "failed"
    elif case.find("skipped") is not None:
        kind = "skipped"
    name = f"{case.get('classname', '')}: {case.get('name', '')}"
    print(kind, name.replace("\t", " ").replace("\n", " "), sep="\t")
