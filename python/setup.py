"""Builds the vorn extension against the C library.

The library is found through VORNBASE_DIR (a CMake build folder holding libvornbase.so and include/vorn_version.h,
or an install prefix with lib/ and include/); without it, the source tree's build/release is used.
"""
import hashlib
import os
from pathlib import Path

from pybind11.setup_helpers import ParallelCompile, Pybind11Extension, build_ext
from setuptools import setup

HERE = Path(__file__).resolve().parent
TREE = HERE.parent


def library_dirs():
    """(include dirs, library dir) of the C library to build against."""
    base = Path(os.environ.get("VORNBASE_DIR", TREE / "build" / "release")).resolve()
    # a build folder, or an install prefix (lib/ or lib/<multiarch>/ on Debian)
    places = [(base, [TREE / "include", base / "include"])]
    places += [(p.parent, [base / "include"]) for p in sorted(base.glob("lib*/**/libvornbase.so"))]
    for lib, inc in places:
        if (lib / "libvornbase.so").exists():
            return [str(i) for i in inc], str(lib)
    raise SystemExit(f"libvornbase.so not found under {base}: run `make` in {TREE} or set VORNBASE_DIR")


includes, libdir = library_dirs()
headers = [p for d in [HERE / "src", *map(Path, includes)] for p in Path(d).glob("*.h")]


def needs_recompile(obj, src):
    """An object is rebuilt when its source or any header it may include is newer."""
    if not os.path.exists(obj):
        return True
    built = os.stat(obj).st_mtime
    return any(os.stat(p).st_mtime >= built for p in [src, *headers])


# Sources compile two at a time unless VORN_PY_JOBS says otherwise.
ParallelCompile("VORN_PY_JOBS", default=2, needs_recompile=needs_recompile).install()
sources = sorted(str(p.relative_to(HERE)) for p in (HERE / "src").glob("*.cpp"))
ext = Pybind11Extension(
    "vorn._vorn",
    sources,
    include_dirs=includes,
    library_dirs=[libdir],
    runtime_library_dirs=[libdir],
    libraries=["vornbase"],
    cxx_std=17,
    extra_compile_args=["-O2", "-fvisibility=hidden"],
)

# Objects are shared between builds against different libraries (release, sanitizer); the linked module is not.
variant = hashlib.sha1(libdir.encode()).hexdigest()[:10]
setup(ext_modules=[ext], cmdclass={"build_ext": build_ext},
      options={"build": {"build_lib": f"build/lib-{variant}", "build_temp": "build/temp"}})
