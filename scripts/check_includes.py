#!/usr/bin/env python3
"""Holds every source of the tree against include_rules.toml.

    check_includes.py [--root DIR]   checks the tree; says which rule an include breaks, and that rule's reason
    check_includes.py --self-test    checks this program on a small tree with known faults

Exit code 0: all includes keep the rules. 1: some don't.
"""

import argparse
import pathlib
import re
import sys
import tempfile
import tomllib

CODE_FOLDERS = ("VideoRenderer", "ReferenceHost", "Applications", "Plugins", "Examples", "Tests", "Benchmarks",
                "Fuzzers")
SUFFIXES = {".h", ".c", ".cpp", ".inc"}
INCLUDE = re.compile(r'^\s*#\s*include\s*(["<])([^">]+)[">]')
C_HEADERS = {"assert", "ctype", "errno", "fenv", "float", "inttypes", "iso646", "limits", "locale", "math", "setjmp",
             "signal", "stdarg", "stdatomic", "stdbool", "stddef", "stdint", "stdio", "stdlib", "string", "time",
             "wchar"}
REPOSITORY = pathlib.Path(__file__).resolve().parent.parent


class Rules:
    def __init__(self, text):
        table = tomllib.loads(text)
        self.groups = table.get("groups", {})
        self.outside = table["outside"]
        self.rules = table["rule"]
        for rule in self.rules:
            rule["paths"] = self.expand(rule["paths"])
            rule["may"] = self.expand(rule["may"])
            for group in rule["outside"]:
                if group not in self.outside:
                    raise SystemExit(f"include_rules.toml: no group of outside headers is called '{group}'")

    def expand(self, paths):
        return [path for name in paths for path in self.groups.get(name, [name])]

    def rule_for(self, file):
        """The rule with the longest path that fits, or None."""
        fitting = [(len(path), rule) for rule in self.rules for path in rule["paths"] if fits(file, path)]
        return max(fitting, key=lambda pair: pair[0])[1] if fitting else None

    def allowed(self, file, rule):
        """The paths that a file under a rule may include, and the groups of outside headers."""
        paths, groups = rule["paths"] + rule["may"], set(rule["outside"])
        if rule.get("mirror") and file.startswith("Tests/"):
            mirrored = file.removeprefix("Tests/").rpartition("/")[0]
            of_mirrored = self.rule_for(mirrored + "/any.h")
            if of_mirrored:
                more, more_groups = self.allowed(mirrored + "/any.h", of_mirrored)
                paths, groups = paths + [mirrored] + more, groups | more_groups
            if mirrored.startswith("VideoRenderer"):
                paths = paths + ["VideoRenderer/Src"]
        return paths, groups


def fits(file, path):
    return file == path or file.startswith(path + "/") or (path.endswith("*") and file.startswith(path[:-1]))


def in_tree(root, file, name):
    """The file of the tree that an include means, or None for a header from outside."""
    places = (pathlib.PurePosixPath(file).parent, "VideoRenderer/HostSurface", "VideoRenderer/Inc", ".")
    for place in places:
        candidate = root / place / name
        if candidate.is_file():
            return candidate.resolve().relative_to(root).as_posix()
    return None


def outside_complaint(rules, rule, groups, name):
    """None if the rule allows a header that isn't of the tree, else what is wrong with it."""
    for group, beginnings in rules.outside.items():
        if any(name.startswith(beginning) for beginning in beginnings):
            return None if group in groups else f"{group} isn't for this place"
    if "/" not in name:
        stem = name.removesuffix(".h")
        if name.endswith(".h"):
            return None if stem in C_HEADERS else "no such file in the tree, and no known header from outside"
        if rule.get("standard") == "c":
            return "only C standard headers belong here"
        return None
    return "no such file in the tree, and no known header from outside"


def complaints_of_file(root, rules, file):
    rule = rules.rule_for(file)
    if rule is None:
        return [f"{file}: no rule of include_rules.toml covers this folder"]
    paths, groups = rules.allowed(file, rule)
    found = []
    text = (root / file).read_text(encoding="utf-8", errors="replace")
    for number, line in enumerate(text.splitlines(), 1):
        match = INCLUDE.match(line)
        if not match:
            continue
        target = in_tree(root, file, match[2])
        if target is None:
            wrong = outside_complaint(rules, rule, groups, match[2])
        else:
            wrong = None if any(fits(target, path) for path in paths) else f"{target} isn't for this place"
        if wrong:
            found.append(f'{file}:{number}: includes "{match[2]}": {wrong}.\n'
                         f'    rule of {rule["paths"][0]}: {rule["reason"]}')
    return found


def check(root, rules):
    """All complaints about the tree, and how many files were read."""
    root = root.resolve()
    files = sorted(path.relative_to(root).as_posix()
                   for folder in CODE_FOLDERS
                   for path in (root / folder).rglob("*") if path.suffix in SUFFIXES and path.is_file())
    return [text for file in files for text in complaints_of_file(root, rules, file)], len(files)


GOOD = {
    "VideoRenderer/HostSurface/Platform.h": "#include <cstdint>",
    "VideoRenderer/HostSurface/MF/Frame.h": '#include "Platform.h"\n#include <boost/any.hpp>',
    "VideoRenderer/HostSurface/IR/ImageRoutines.h": "#include <stdint.h>",
    "VideoRenderer/Inc/Internal.h": '#include "MF/Frame.h"',
    "VideoRenderer/Inc/VideoRenderer.h": '#include "MF/Frame.h"',
    "VideoRenderer/Src/Good.cpp": '#include "Internal.h"\n  #  include "MF/Frame.h"\n#include <vector>',
    "ReferenceHost/Media/Media.h": "#include <string>",
    "ReferenceHost/Media/FFmpeg/File.h": "#include <libavformat/avformat.h>",
    "ReferenceHost/Session/Session.h": '#include "VideoRenderer/Inc/VideoRenderer.h"',
    "Applications/vrender/WritersMovie.cpp": "#include <libavcodec/avcodec.h>",
    "Tests/ReferenceHost/Media/File_test.cpp": '#include "ReferenceHost/Media/FFmpeg/File.h"\n#include <gtest/gtest.h>',
}
# Each with what the complaint has to name.
BAD = {
    "VideoRenderer/Src/SeesHost.cpp": ('#include "ReferenceHost/Media/Media.h"', "runs on any host"),
    "VideoRenderer/Src/SeesCodec.cpp": ("#include <libavcodec/avcodec.h>", "ffmpeg isn't for this place"),
    "VideoRenderer/HostSurface/IR/NotC.h": ("#include <vector>", "only C standard headers"),
    "VideoRenderer/HostSurface/MF/Upwards.h": ('#include "../VF/Cache.h"', "no cycles"),
    "VideoRenderer/HostSurface/VF/Cache.h": ('#include "BE/Source.h"', "neither media nor projects"),
    "VideoRenderer/HostSurface/BE/Source.h": ('#include "IR/ImageRoutines.h"', "name frames"),
    "VideoRenderer/Inc/RenderFrame.h": ('#include "Internal.h"', "would export that as well"),
    "VideoRenderer/Inc/Suites/Suite.h": ('#include "MF/Frame.h"', "plug-in author"),
    "ReferenceHost/Media/Leak.cpp": ("#include <libavcodec/avcodec.h>", "behind the folder"),
    "ReferenceHost/Session/Deep.cpp": ('#include "VideoRenderer/Inc/Internal.h"', "as any host would"),
    "ReferenceHost/Foundation/Up.cpp": ('#include "ReferenceHost/Media/Media.h"', "bottom of the host"),
    "Applications/vrender/Other.cpp": ("#include <libavcodec/avcodec.h>", "stands on a session"),
    "Tests/ReferenceHost/Media/Far_test.cpp": ('#include "ReferenceHost/Session/Session.h"', "isn't for this place"),
    "Plugins/Any.cpp": ("#include <vector>", "no rule"),
    "VideoRenderer/Src/Typo.cpp": ('#include "MF/Farme.h"', "no such file"),
}


def self_test():
    """Each bad include is caught once, for its reason, and no good one."""
    rules = Rules((REPOSITORY / "include_rules.toml").read_text(encoding="utf-8"))
    with tempfile.TemporaryDirectory() as folder:
        root = pathlib.Path(folder)
        for file, text in GOOD.items() | {(file, text) for file, (text, _) in BAD.items()}:
            (root / file).parent.mkdir(parents=True, exist_ok=True)
            (root / file).write_text(text + "\n", encoding="utf-8")
        complaints, _ = check(root, rules)
    failures = []
    for file, (_, reason) in BAD.items():
        of_file = [text for text in complaints if text.startswith(file + ":")]
        if len(of_file) != 1 or reason not in of_file[0]:
            failures.append(f"{file}: expected one complaint with '{reason}', got {of_file}")
    failures += [f"wrongly refused: {text}" for text in complaints if text.partition(":")[0] in GOOD]
    print("\n".join(failures) if failures else f"caught {len(BAD)} bad files, let {len(GOOD)} good ones pass")
    return 1 if failures else 0


def main():
    parser = argparse.ArgumentParser(description="Checks who includes whom.")
    parser.add_argument("--root", type=pathlib.Path, default=REPOSITORY)
    parser.add_argument("--self-test", action="store_true")
    arguments = parser.parse_args()
    if arguments.self_test:
        return self_test()
    rules = Rules((arguments.root / "include_rules.toml").read_text(encoding="utf-8"))
    complaints, count = check(arguments.root, rules)
    print("\n".join(complaints) if complaints else f"{count} files keep the include rules")
    return 1 if complaints else 0


if __name__ == "__main__":
    sys.exit(main())
