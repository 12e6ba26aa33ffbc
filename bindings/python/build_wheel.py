#!/usr/bin/env python3
"""Makes the wheel of the Python package: the package and the two shared libraries in one file.

  bindings/python/build_wheel.py [--build FOLDER] [--out FOLDER]     defaults: build/release, build/release/wheel

It needs nothing but Python, and is the build backend of pyproject.toml as well: `pip install bindings/python`
works after a release build (of another folder: FSORT_BUILD names it).

The tag of the wheel says what the libraries need: on Linux the newest version of the C library whose symbols
they use. They must need nothing else; that is checked here, because a wheel that is wrong about it is found
out by its users."""

import argparse
import base64
import csv
import hashlib
import io
import os
import pathlib
import re
import stat
import sys
import zipfile

HERE = pathlib.Path(__file__).resolve().parent
ROOT = HERE.parent.parent
LINUX = ("libfsort.so.0", "libfsort_batches.so")
WINDOWS = ("fsort.dll", "fsort_batches.dll")
# All files of a wheel get one date, so that the same sources make the same wheel.
DATE = (1980, 1, 1, 0, 0, 0)


def version():
    """The version, which stands in three places."""
    found = {
        "include/fsort.h": re.search(r'FSORT_VERSION_STRING "([^"]+)"', (ROOT / "include/fsort.h").read_text()),
        "fsort/__init__.py": re.search(r'__version__ = "([^"]+)"', (HERE / "fsort/__init__.py").read_text()),
        "pyproject.toml": re.search(r'^version = "([^"]+)"', (HERE / "pyproject.toml").read_text(), re.M),
    }
    versions = {name: match.group(1) for name, match in found.items()}
    if len(set(versions.values())) != 1:
        sys.exit(f"build_wheel: the versions differ: {versions}")
    return versions["pyproject.toml"]


def libraries(build):
    """Returns the libraries' paths."""
    for folder, names in (("lib", LINUX), ("bin", WINDOWS)):
        paths = [build / folder / name for name in names]
        if all(path.exists() for path in paths):
            return paths
    sys.exit(f"build_wheel: no libraries in {build}; build it first: cmake --preset release && "
             "cmake --build --preset release")


def platform_tag(paths):
    if paths[0].suffix == ".dll":
        return "win_amd64"
    newest = 0
    for path in paths:
        content = path.read_bytes()
        if content[:5] != b"\x7fELF\x02" or content[18:20] != b"\x3e\x00":
            sys.exit(f"build_wheel: {path} is not for 64-bit x86")
        needed = set(re.findall(rb"\0((?:lib|ld-)[\w+.-]*\.so[.\d]*)(?=\0)", content))
        others = {name.decode() for name in needed} - {"libc.so.6", "ld-linux-x86-64.so.2", *LINUX}
        if others:
            sys.exit(f"build_wheel: {path} needs {', '.join(sorted(others))}")
        newest = max([newest, *(int(minor) for minor in re.findall(rb"\0GLIBC_2\.(\d+)", content))])
    return f"manylinux_2_{newest}_x86_64"


def metadata():
    project = (HERE / "pyproject.toml").read_text()
    field = {name: re.search(rf'^{name} = "([^"]+)"', project, re.M).group(1)
             for name in ("name", "description", "requires-python")}
    classifiers = re.findall(r'"([^"]+ :: [^"]+)"', project)
    lines = ["Metadata-Version: 2.1", f"Name: {field['name']}", f"Version: {version()}",
             f"Summary: {field['description']}", f"Requires-Python: {field['requires-python']}",
             *(f"Classifier: {c}" for c in classifiers), "License-File: LICENSE",
             "Description-Content-Type: text/markdown", "", (HERE / "README.md").read_text()]
    return "\n".join(lines)


def build(build_folder, out):
    """Returns the name of the wheel that it has written into the folder."""
    paths = libraries(build_folder)
    tag = f"py3-none-{platform_tag(paths)}"
    info = f"fsort-{version()}.dist-info"
    files = {f"fsort/{p.name}": p.read_bytes() for p in sorted((HERE / "fsort").iterdir())
             if p.suffix in (".py", ".typed")}
    files.update({f"fsort/{p.name}": p.read_bytes() for p in paths})
    files[f"{info}/METADATA"] = metadata().encode()
    files[f"{info}/LICENSE"] = (ROOT / "LICENSE").read_bytes()
    files[f"{info}/WHEEL"] = (f"Wheel-Version: 1.0\nGenerator: fsort build_wheel\nRoot-Is-Purelib: false\n"
                              f"Tag: {tag}\n").encode()
    record = io.StringIO()
    rows = csv.writer(record, lineterminator="\n")
    for name, content in files.items():
        digest = base64.urlsafe_b64encode(hashlib.sha256(content).digest()).rstrip(b"=").decode()
        rows.writerow([name, f"sha256={digest}", len(content)])
    rows.writerow([f"{info}/RECORD", "", ""])
    files[f"{info}/RECORD"] = record.getvalue().encode()

    out.mkdir(parents=True, exist_ok=True)
    wheel = out / f"fsort-{version()}-{tag}.whl"
    with zipfile.ZipFile(wheel, "w", zipfile.ZIP_DEFLATED) as archive:
        for name, content in files.items():
            entry = zipfile.ZipInfo(name, DATE)
            entry.compress_type = zipfile.ZIP_DEFLATED
            entry.external_attr = (stat.S_IFREG | 0o644) << 16
            archive.writestr(entry, content)
    return wheel.name


def build_wheel(wheel_directory, config_settings=None, metadata_directory=None):
    """What pip calls."""
    return build(ROOT / os.environ.get("FSORT_BUILD", "build/release"), pathlib.Path(wheel_directory))


def main():
    parser = argparse.ArgumentParser(description="Makes the wheel of the Python package.")
    parser.add_argument("--build", type=pathlib.Path, default=ROOT / "build/release")
    parser.add_argument("--out", type=pathlib.Path)
    arguments = parser.parse_args()
    out = arguments.out or arguments.build / "wheel"
    print(out / build(arguments.build, out))


if __name__ == "__main__":
    main()
