"""What the built libraries export, hold and need, against the list of exports and the public headers.

Names:   the dynamic symbol tables, src/frame/exports.def and the prototypes name the same functions.
Headers: each public header compiles alone, as C99 and as C++17.
Shipped: layout, data and dependencies of the release build.

tests/package/CMakeLists.txt passes the files to look at in the environment.
"""

import os
import pathlib
import re
import subprocess
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]
LIBRARY = os.environ["QORCV_LIBRARY"]
CORE = os.environ["QORCORE_LIBRARY"]
LEVEL = os.environ["QORCV_LEVEL"]
OBJECTS = os.environ["QORCV_OBJECTS"].split(":")
PUBLIC_HEADERS = [ROOT / "include/qorcv.h", *sorted((ROOT / "include/qorcv").glob("*.h"))]

# All that another core library must have to stand under this one.
REQUIRED_OF_CORE = {
    "ownGetNumThreads", "qorGetNumCoresOnDie", "qorGetMaxCacheSizeB", "qorGetCpuFeatures",
    "qorGetEnabledCpuFeatures", "ownGetFeature", "qorMalloc", "qorFree",
}  # fmt: skip


def run(*command):
    return subprocess.run(command, check=True, text=True, capture_output=True).stdout


def export_list():
    text = (ROOT / "src/frame/exports.def").read_text()
    return re.findall(r"^QOR_EXPORT\((\w+)\)$", text, re.MULTILINE)


def prototypes(header):
    """Functions declared in one header: its text without comments, directives and bodies of types."""
    text = re.sub(r"/\*.*?\*/|//[^\n]*", " ", header.read_text(), flags=re.DOTALL)
    text = re.sub(r"^\s*#.*$", "", text, flags=re.MULTILINE).replace('extern "C" {', "")
    text = re.sub(r"\{[^{}]*\}", "", text)
    statements = (s for s in text.split(";") if "typedef" not in s)
    return [name for s in statements for name in re.findall(r"(\w+)\s*\(", s)]


def dynamic_symbols(library):
    """Name as the loader sees it, with its version if it has one -> (type letter, size)."""
    lines = run("nm", "-D", "--with-symbol-versions", "--defined-only", "-S", library).splitlines()
    return {f[-1]: (f[-2], int(f[1], 16) if len(f) == 4 else 0) for f in map(str.split, lines)}


def symbols(file):
    """Every symbol of a file: (value or None, type letter, name)."""
    out = []
    for line in run("nm", file).splitlines():
        fields = line.split()
        out.append((int(fields[0], 16) if len(fields) == 3 else None, fields[-2], fields[-1]))
    return out


class Names(unittest.TestCase):
    maxDiff = None

    def test_export_list_has_no_name_twice(self):
        names = export_list()
        self.assertGreater(len(names), 0)
        self.assertEqual(sorted(set(names)), sorted(names))

    def test_library_list_and_headers_name_the_same_functions(self):
        declared = [name for header in PUBLIC_HEADERS for name in prototypes(header)]
        self.assertEqual(sorted(set(declared)), sorted(declared), "declared twice")
        self.assertEqual(sorted(export_list()), sorted(declared), "exports.def and the headers differ")
        self.assertEqual(sorted(export_list()), sorted(dynamic_symbols(LIBRARY)), "exports.def and the library differ")

    def test_core_library_and_its_header_name_the_same_functions(self):
        self.assertEqual(sorted(prototypes(ROOT / "core/qorcore.h")), sorted(dynamic_symbols(CORE)))

    def test_only_functions_with_a_size_are_exported(self):
        for library in LIBRARY, CORE:
            for name, (letter, size) in dynamic_symbols(library).items():
                self.assertEqual(letter, "T", name)
                self.assertGreater(size, 0, name)

    def test_only_the_stubs_mention_an_exported_name(self):
        names = set(export_list())
        mentioning = {o for o in OBJECTS for _, _, symbol in symbols(o) if symbol in names}
        self.assertEqual([pathlib.Path(o).name for o in mentioning], ["stubs.S.o"])


class Headers(unittest.TestCase):
    def test_each_header_compiles_alone(self):
        strict = ["-pedantic", "-Wall", "-Wextra", "-Werror", "-fsyntax-only"]
        languages = [(os.environ["CC"], "c", "c99"), (os.environ["CXX"], "c++", "c++17")]
        for header in [*PUBLIC_HEADERS, ROOT / "core/qorcore.h"]:
            for compiler, language, standard in languages:
                with self.subTest(header=header.name, standard=standard):
                    command = [compiler, "-x", language, f"-std={standard}", *strict, f"-I{ROOT / 'include'}", "-"]
                    unit = f'#include "{header}"\n#include "{header}"\ntypedef int translationUnit;\n'
                    result = subprocess.run(command, input=unit, text=True, capture_output=True)
                    self.assertEqual(result.returncode, 0, result.stderr)


class Shipped(unittest.TestCase):
    maxDiff = None

    @classmethod
    def setUpClass(cls):
        cls.sections = {}  # name -> (address, size, flags)
        for line in run("readelf", "-SW", LIBRARY).splitlines():
            match = re.match(r"\s*\[\s*\d+\] (\S+)\s+\S+\s+([0-9a-f]+) [0-9a-f]+ ([0-9a-f]+) [0-9a-f]+\s+(\w*)", line)
            if match:
                name, address, size, flags = match.groups()
                cls.sections[name] = (int(address, 16), int(size, 16), flags)
        cls.symbols = symbols(LIBRARY)

    def in_section(self, name):
        """Names of the symbols that stand in a section, by ascending address; its end counts, for a mark there."""
        start, size, _ = self.sections[name]
        data = ((v, s) for v, letter, s in self.symbols if letter in "bBdDrR" and start <= v <= start + size)
        return [s for _, s in sorted(data)]

    def dynamic(self, tag):
        return re.findall(rf"\({tag}\).*\[(.*)\]", run("readelf", "-dW", LIBRARY))

    def test_soname_and_needed_libraries(self):
        self.assertEqual(self.dynamic("SONAME"), ["libqorcvt6.so.8.2"])
        needed = set(self.dynamic("NEEDED"))
        self.assertIn("libqorcore.so.8.2", needed)
        self.assertLessEqual(needed, {"libqorcore.so.8.2", "libgomp.so.1", "libm.so.6", "libc.so.6"})

    def test_takes_only_the_required_names_from_the_core_library(self):
        undefined = set(run("nm", "-D", "--undefined-only", "--format=just-symbols", LIBRARY).split())
        taken = undefined & set(dynamic_symbols(CORE))
        self.assertIn("qorGetCpuFeatures", taken)
        self.assertLessEqual(taken, REQUIRED_OF_CORE)

    def test_stays_in_memory_and_resolves_at_load(self):
        flags = run("readelf", "-dW", LIBRARY)
        self.assertRegex(flags, r"FLAGS_1.*NOW.*NODELETE")
        segments = run("readelf", "-lW", LIBRARY)
        self.assertRegex(segments, r"GNU_STACK.* RW ")
        self.assertIn("GNU_RELRO", segments)

    def test_words_are_contiguous_and_in_the_order_of_the_list(self):
        words = sorted((v, s) for v, _, s in self.symbols if s.endswith("_arraddr"))
        first = words[0][0]
        expected = [(first + 8 * i, f"{name}_arraddr") for i, name in enumerate(export_list())]
        self.assertEqual(words, expected)

    def test_each_word_holds_the_body_of_its_own_name(self):
        address = {s: v for v, _, s in self.symbols}
        relocations = re.findall(r"^([0-9a-f]+)\s+[0-9a-f]+ R_X86_64_RELATIVE\s+([0-9a-f]+)$",
                                 run("readelf", "-rW", LIBRARY), re.MULTILINE)  # fmt: skip
        held = {int(where, 16): int(what, 16) for where, what in relocations}
        for name in export_list():
            self.assertEqual(held.get(address[f"{name}_arraddr"]), address[f"{LEVEL}_{name}"], name)

    def test_each_stub_jumps_through_its_own_word(self):
        code = run("objdump", "-d", "--no-show-raw-insn", LIBRARY)
        jumps = dict(re.findall(r"^[0-9a-f]+ <(\w+)>:\n[^\n]*\bjmp\s+\*[^\n]*<(\w+)>", code, re.MULTILINE))
        self.assertEqual({n: jumps.get(n) for n in export_list()}, {n: f"{n}_arraddr" for n in export_list()})

    def test_writable_data_holds_the_words_and_nothing_else(self):
        # What the loader makes read-only again once it has relocated it.
        relro = {".init_array", ".fini_array", ".data.rel.ro", ".dynamic", ".got"}
        writable = {name for name, (_, _, flags) in self.sections.items() if "W" in flags and "A" in flags}
        self.assertLessEqual(writable, relro | {".data", ".bss"})
        toolchain = {"completed.0", "__dso_handle", "__TMC_END__"}
        allowed = {f"{name}_arraddr" for name in export_list()} | {"qorJumpIndexForMergedDLL"} | toolchain
        self.assertEqual(set(self.in_section(".data")) | set(self.in_section(".bss")), allowed)
        # No data without a name either: the words, __dso_handle before them, two small variables.
        self.assertLessEqual(self.sections[".data"][1], 8 * len(export_list()) + 8)
        self.assertLessEqual(self.sections[".bss"][1], 8)

    def test_version_records_are_read_only(self):
        records = {s for s in self.in_section(".data.rel.ro") if "s_libVer" in s}
        self.assertEqual(len(records), 2, records)


if __name__ == "__main__":
    unittest.main(verbosity=2)
