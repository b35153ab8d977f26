#!/usr/bin/env python3
# scripts/check-deps over small made-up trees: who owns a header, what counts as linked, and the
# folder cycles.
import json
import os
import subprocess
import sys
import tempfile
import unittest

CHECKER = os.path.join(os.path.dirname(__file__), "..", "..", "scripts", "check-deps")

# a: pelix_a, with a header without a .cpp (Util.h). b: pelix_b and pelix_b_extra. c: only
# pelix_c_x, none named pelix_c.
BASE_FILES = {
    "a/A.h": "#pragma once\n#include \"a/Util.h\"\n",
    "a/A.cpp": "#include \"a/A.h\"\n#include <vector>\n",
    "a/Util.h": "#pragma once\n",
    "b/B.h": "#pragma once\n",
    "b/B.cpp": "#include \"b/B.h\"\n#include \"a/A.h\"\n#include \"gen-protocol.h\"\n",
    "b/Extra.h": "#pragma once\n#include \"b/B.h\"\n",
    "b/Extra.cpp": "#include \"b/Extra.h\"\n",
    "c/X.cpp": "#include \"c/Loose.h\"\n",
    "c/Loose.h": "#pragma once\n",
}
BASE_LIBRARIES = [
    {"name": "pelix_a", "folder": "a", "sources": ["A.cpp"], "deps": []},
    {"name": "pelix_b", "folder": "b", "sources": ["B.cpp"], "deps": ["pelix_a"]},
    {"name": "pelix_b_extra", "folder": "b", "sources": ["Extra.cpp"], "deps": ["pelix_b"]},
    {"name": "pelix_c_x", "folder": "c", "sources": ["X.cpp"], "deps": []},
]


class CheckDepsTest(unittest.TestCase):
    def run_checker(self, files=None, libraries=None):
        """Runs the checker on BASE_FILES updated by `files` and on `libraries`."""
        merged = dict(BASE_FILES, **(files or {}))
        with tempfile.TemporaryDirectory() as root:
            src = os.path.join(root, "src")
            for path, text in merged.items():
                os.makedirs(os.path.dirname(os.path.join(src, path)), exist_ok=True)
                with open(os.path.join(src, path), "w") as f:
                    f.write(text)
            record = {"source_dir": src, "libraries": libraries or BASE_LIBRARIES}
            with open(os.path.join(root, "pelix-libraries.json"), "w") as f:
                json.dump(record, f)
            run = subprocess.run([sys.executable, CHECKER, root], capture_output=True, text=True)
        return run.returncode, run.stdout.splitlines()

    def test_linked_includes_pass_and_an_unused_link_only_warns(self):
        libraries = [dict(lib) for lib in BASE_LIBRARIES]
        libraries[1]["deps"] = ["pelix_a", "pelix_c_x"]
        libraries[3]["deps"] = ["pelix_a"]
        code, out = self.run_checker({
            # Loose.h has no .cpp and c/ no pelix_c: c's only library owns it. A header that is
            # not there (a/Gone.h) or not under src/ (gen-protocol.h) is left to the compiler.
            "b/B.cpp": BASE_FILES["b/B.cpp"] + "#include \"c/Loose.h\"\n#include \"a/Gone.h\"\n",
        }, libraries)
        self.assertEqual(code, 0, out)
        self.assertIn("warning: pelix_c_x links pelix_a but includes none of its headers", out)
        self.assertEqual(out[-1], "check-deps: 4 libraries, 3 folders, 9 files: "
                                  "every include is linked, no folder cycle")

    def test_unlinked_includes_fail(self):
        # A header listed among a library's sources is that library's.
        libraries = [dict(lib) for lib in BASE_LIBRARIES]
        libraries[2]["sources"] = ["Extra.cpp", "B.h"]
        code, out = self.run_checker({
            # Through pelix_b only: a transitive link does not count. The offence is in the header
            # pelix_b_extra owns by its .cpp's stem.
            "b/Extra.h": "#pragma once\n#include \"b/B.h\"\n#include \"a/Util.h\"\n",
            # Same folder, other library.
            "b/B.cpp": BASE_FILES["b/B.cpp"] + "#include \"b/Extra.h\"\n",
        }, libraries)
        self.assertEqual(code, 1, out)
        self.assertIn("pelix_b_extra includes a/Util.h (pelix_a) but does not link it", out)
        self.assertIn("pelix_b includes b/Extra.h (pelix_b_extra) but does not link it", out)
        self.assertIn("pelix_b includes b/B.h (pelix_b_extra) but does not link it", out)
        self.assertEqual(out[-1], "check-deps: 3 offence(s)")

    def test_folder_cycles_fail_even_outside_libraries(self):
        # Two cycles through a, each needing a fix of its own; c/tool.cpp is in no library.
        code, out = self.run_checker({"a/A.cpp": "#include \"b/B.h\"\n#include \"c/Loose.h\"\n",
                                      "c/tool.cpp": "#include \"a/A.h\"\n"})
        self.assertEqual(code, 1, out)
        cycles = [line for line in out if line.startswith("folder cycle")]
        self.assertEqual(cycles, ["folder cycle: a → b → a", "folder cycle: a → c → a"])
        self.assertIn("  a/A.cpp includes b/B.h", out)
        self.assertIn("  c/tool.cpp includes a/A.h", out)


if __name__ == "__main__":
    unittest.main()
