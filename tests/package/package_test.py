"""Installs the release build into a scratch folder and uses it as a stranger would; builds and inspects the packages.

tests/package/CMakeLists.txt passes the build to install in the environment.
"""

import os
import pathlib
import re
import subprocess
import tempfile
import unittest

HERE = pathlib.Path(__file__).resolve().parent
ROOT = HERE.parents[1]
BINARY_DIR = os.environ["QORCV_BINARY_DIR"]
CC = os.environ["CC"]
PLAIN, WIDE = "qorCV SSE4.1/4.2 (t6 threaded)", "qorCV AVX2 (v3 threaded)"
# The loader itself tells in which folders it looks; where it does not look for the wide level, the plain one serves.
HAS_AVX2 = re.search(r"x86-64-v3 \(supported", subprocess.getoutput("/lib64/ld-linux-x86-64.so.2 --help"))
WITHOUT_AVX2 = {"GLIBC_TUNABLES": "glibc.cpu.hwcaps=-AVX2"}
if not HAS_AVX2:
    print("no AVX2: the loader's choice of the wide level stays untried")


def run(*command, **environment):
    environment = {**os.environ, "LD_LIBRARY_PATH": "", "GLIBC_TUNABLES": "", "OMP_WAIT_POLICY": "passive", **{k: str(v) for k, v in environment.items()}}
    for name in "OMP_NUM_THREADS", "OMP_THREAD_LIMIT", "OMP_DYNAMIC", "DESTDIR", "CFLAGS", "LDFLAGS":
        environment.pop(name, None)
    result = subprocess.run([str(c) for c in command], text=True, capture_output=True, env=environment)
    if result.returncode != 0:
        raise AssertionError(f"{command} gives {result.returncode}\n{result.stdout}{result.stderr}")
    return result.stdout


class Installed(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        scratch = tempfile.TemporaryDirectory(prefix="qorcv-package-")
        cls.addClassCleanup(scratch.cleanup)
        cls.scratch = pathlib.Path(scratch.name)
        run("cmake", "--install", BINARY_DIR, "--prefix", cls.scratch / "first")
        # An installation may be moved: nothing in it knows where it was made.
        cls.prefix = (cls.scratch / "first").rename(cls.scratch / "moved")
        cls.libraries = next(cls.prefix.rglob("libqorcvt6.so")).parent
        cls.wide = cls.libraries / "glibc-hwcaps/x86-64-v3"
        cls.pkg_config_path = cls.libraries / "pkgconfig"

    def pkg_config(self, *arguments):
        return run("pkg-config", *arguments, "qorcv", PKG_CONFIG_PATH=self.pkg_config_path).split()

    def compile(self, source, *options):
        program = self.scratch / source.stem
        strict = ["-std=c99", "-pedantic", "-Wall", "-Werror"]
        run(CC, *strict, *options, source, "-o", program, *self.pkg_config("--cflags", "--libs"))
        return program

    def assert_loader_chooses(self, *command, **environment):
        self.assertIn(WIDE if HAS_AVX2 else PLAIN, run(*command, **environment))
        self.assertIn(PLAIN, run(*command, **environment, **WITHOUT_AVX2))

    def test_consumer_by_cmake(self):
        build = self.scratch / "build"
        where = f"-DCMAKE_PREFIX_PATH={self.prefix}"
        run("cmake", "-S", HERE / "consumer", "-B", build, where, f"-DCMAKE_C_COMPILER={CC}")
        run("cmake", "--build", build)
        self.assert_loader_chooses(build / "consumer")

    def test_consumer_by_plain_cc_and_pkg_config(self):
        program = self.compile(HERE / "consumer/consumer.c", "-Wl,-rpath," + self.pkg_config("--variable=libdir")[0])
        self.assert_loader_chooses(program)
        self.assertEqual(self.pkg_config("--modversion"), ["8.2.1"])
        self.assertLessEqual({"-lqorcvt6", "-lqorcore"}, set(self.pkg_config("--libs")))

    def test_by_library_path_and_by_the_cache_of_the_loader(self):
        program = self.compile(HERE / "consumer/consumer.c")
        self.assert_loader_chooses(program, LD_LIBRARY_PATH=self.libraries)
        # A cache of our own, over the system's in a namespace of our own.
        namespace = ["unshare", "--map-root-user", "--mount"]
        if subprocess.run([*namespace, "true"], capture_output=True).returncode != 0:
            self.skipTest("no namespaces: the loader's cache stays untried")
        (self.scratch / "ld.so.conf").write_text(f"{self.libraries}\n")
        script = """set -e
            mount -t tmpfs none /var/cache/ldconfig
            /sbin/ldconfig -X -f "$0/ld.so.conf" -C "$0/ld.so.cache"
            mount --bind "$0/ld.so.cache" /etc/ld.so.cache
            exec "$@" """
        self.assert_loader_chooses(*namespace, "sh", "-c", script, self.scratch, program)

    def test_example_of_the_readme(self):
        example = re.search(r"```c\n(.*?)```", (ROOT / "README.md").read_text(), re.DOTALL).group(1)
        source = self.scratch / "example.c"
        source.write_text(example)
        output = run(self.compile(source), LD_LIBRARY_PATH=self.libraries)
        self.assertEqual(output, "status 0, difference 200\n")

    def test_open_by_path_parallel_call_close(self):
        program = self.scratch / "open_close"
        run(CC, HERE / "open_close.c", "-D_XOPEN_SOURCE=700", *self.pkg_config("--cflags"), "-o", program, "-ldl")
        names = re.findall(r"^QOR_EXPORT\((\w+)\)$", (ROOT / "src/frame/exports.def").read_text(), re.MULTILINE)
        self.assertIn(PLAIN, run(program, self.libraries / "libqorcvt6.so.8.2", *names))
        if HAS_AVX2:
            self.assertIn(WIDE, run(program, self.wide / "libqorcvt6.so.8.2", *names))

    def test_installed_files_name_no_folder_of_the_build(self):
        for file in self.prefix.rglob("*"):
            if file.is_file():
                text = file.read_bytes()
                for folder in BINARY_DIR, str(ROOT), str(self.scratch):
                    self.assertNotIn(folder.encode(), text, file)
        for folder, path in (self.libraries, "$ORIGIN"), (self.wide, "$ORIGIN/../.."):
            dynamic = run("readelf", "-d", folder / "libqorcvt6.so.8.2")
            self.assertEqual(re.findall(r"R(?:UN)?PATH.*\[(.*)\]", dynamic), [path])
            self.assertEqual(re.findall(r"SONAME.*\[(.*)\]", dynamic), ["libqorcvt6.so.8.2"])

    def test_every_public_header_is_installed(self):
        expected = {f"qorcv/{h.name}" for h in (ROOT / "include/qorcv").glob("*.h")} | {"qorcv.h", "qorcore.h"}
        include = self.prefix / "include"
        self.assertEqual({str(h.relative_to(include)) for h in include.rglob("*.h")}, expected)


class DebianPackages(unittest.TestCase):
    maxDiff = None

    @classmethod
    def setUpClass(cls):
        scratch = tempfile.TemporaryDirectory(prefix="qorcv-deb-")
        cls.addClassCleanup(scratch.cleanup)
        run("cpack", "--config", f"{BINARY_DIR}/CPackConfig.cmake", "-B", scratch.name)
        cls.packages = {file.name.split("_")[0]: file for file in pathlib.Path(scratch.name).glob("*.deb")}

    def contents(self, package):
        """Files and links of a package."""
        lines = run("dpkg-deb", "-c", self.packages[package]).splitlines()
        return {line.split()[5] for line in lines if not line.startswith("d")}

    def field(self, package, name):
        return run("dpkg-deb", "-f", self.packages[package], name).strip()

    def test_runtime_and_development(self):
        self.assertEqual(set(self.packages), {"libqorcv8.2", "libqorcv-dev"})
        self.assertEqual(self.field("libqorcv-dev", "Depends"), "libqorcv8.2 (= 8.2.1)")
        self.assertEqual(self.field("libqorcv8.2", "Architecture"), "amd64")
        self.assertIn("libc6", self.field("libqorcv8.2", "Depends"))
        self.assertNotIn("libstdc++", self.field("libqorcv8.2", "Depends"))

    def test_layout(self):
        libraries = "./usr/lib/x86_64-linux-gnu"
        self.assertEqual(self.contents("libqorcv8.2"), {
            f"{libraries}/libqorcvt6.so.8.2", f"{libraries}/glibc-hwcaps/x86-64-v3/libqorcvt6.so.8.2",
            f"{libraries}/libqorcore.so.8.2", "./usr/share/doc/libqorcv8.2/copyright",
        })  # fmt: skip
        self.assertLessEqual({
            f"{libraries}/libqorcvt6.so", f"{libraries}/libqorcore.so", f"{libraries}/pkgconfig/qorcv.pc",
            f"{libraries}/cmake/qorcv/qorcvConfig.cmake", "./usr/include/qorcv.h", "./usr/include/qorcv/arith.h",
            "./usr/include/qorcore.h", "./usr/share/doc/libqorcv-dev/copyright",
        }, self.contents("libqorcv-dev"))  # fmt: skip

    def test_library_keeps_its_symbol_table(self):
        with tempfile.TemporaryDirectory() as folder:
            run("dpkg-deb", "-x", self.packages["libqorcv8.2"], folder)
            libraries = pathlib.Path(folder) / "usr/lib/x86_64-linux-gnu"
            self.assertIn(" t6_qoriAbsDiff_8u_C1R", run("nm", libraries / "libqorcvt6.so.8.2"))
            self.assertIn(" v3_qoriAbsDiff_8u_C1R", run("nm", libraries / "glibc-hwcaps/x86-64-v3/libqorcvt6.so.8.2"))


if __name__ == "__main__":
    unittest.main(verbosity=2)
