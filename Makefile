# The two commands: `make demo` runs the main job on a built-in sample, `make test` builds and passes every test
# (a Release build, an AddressSanitizer + UndefinedBehaviorSanitizer build, and the threads test on a
# ThreadSanitizer build of the library). Both install what they need.
JOBS ?= $(shell nproc 2>/dev/null || echo 2)
CMAKE_COMMON = -G Ninja -DVORN_FAULT_INJECTION=ON
CTEST = ctest --output-on-failure -j $(JOBS) --timeout 600

PREFIX ?= /usr/local

.PHONY: all deps test test-release test-asan test-python test-tsan soak demo bench bench-micro install test-platforms \
	fuzz fuzz-smoke mutants clean

all: build/release/build.ninja
	cmake --build build/release -j $(JOBS)

deps:
	@scripts/deps.sh test tools python gst

build/release/build.ninja: | deps
	cmake -S . -B build/release $(CMAKE_COMMON) -DCMAKE_BUILD_TYPE=Release

build/asan/build.ninja: | deps
	cmake -S . -B build/asan $(CMAKE_COMMON) -DCMAKE_BUILD_TYPE=RelWithDebInfo -DVORN_SANITIZE=ON

test-release: build/release/build.ninja
	cmake --build build/release -j $(JOBS)
	cd build/release && $(CTEST)
	scripts/python-test.sh build/release

test-asan: build/asan/build.ninja
	cmake --build build/asan -j $(JOBS)
	cd build/asan && ASAN_OPTIONS=detect_leaks=1:abort_on_error=1 UBSAN_OPTIONS=print_stacktrace=1 $(CTEST)
	VORN_PY_ASAN=1 scripts/python-test.sh build/asan

# The Python package alone (python/): built against build/release, installed into a throw-away virtual
# environment, its pytest suite run.
test-python: build/release/build.ninja
	cmake --build build/release -j $(JOBS) --target vornbase vorn
	scripts/python-test.sh build/release

# Distinct objects on four threads against one thread, with the library, the test and the scene under
# ThreadSanitizer (only what the threads test needs is built).
build/tsan/build.ninja: | deps
	cmake -S . -B build/tsan $(CMAKE_COMMON) -DCMAKE_BUILD_TYPE=RelWithDebInfo -DVORN_TSAN=ON -DVORN_BUILD_TOOLS=OFF

test-tsan: build/tsan/build.ninja
	cmake --build build/tsan -j $(JOBS) --target threads_tests
	TSAN_OPTIONS=halt_on_error=1 build/tsan/tests/threads_tests

test: test-release test-asan test-tsan

# 100 000 frames through every analytic and background model (Release build): fails when the library's blocks
# or the resident memory grow, or when the results of the repeating scene change once settled.
SOAK_FRAMES ?= 100000
soak: build/release/build.ninja
	cmake --build build/release -j $(JOBS) --target soak
	build/release/tests/soak $(SOAK_FRAMES)

# The `vorn` program on its built-in street scene: events, annotated video, snapshot and the scene's truth go to out/.
demo: build/release/build.ninja
	cmake --build build/release -j $(JOBS) --target vorn
	build/release/tools/vorn demo --out out

# Every operation and pipeline beside OpenCV on the street clip at 768x576 and 1080p: docs/performance.md and its
# chart docs/performance.svg (about 5 minutes on 2 cores). `make bench-micro` runs the per-family Google
# Benchmark programs instead. The chart is drawn by Debian's python3-matplotlib, hence the system interpreter.
BENCH_CMAKE = cmake -S . -B build/bench -G Ninja -DCMAKE_BUILD_TYPE=Release -DVORN_BUILD_BENCH=ON \
  -DVORN_BUILD_TESTS=OFF -DVORN_BUILD_TOOLS=OFF -DVORN_FAULT_INJECTION=OFF
bench:
	@scripts/deps.sh bench
	$(BENCH_CMAKE)
	cmake --build build/bench -j $(JOBS) --target vorn_perf_report
	build/bench/bench/vorn_perf_report --md docs/performance.md --csv build/bench/ratios.csv \
	  --notes bench/report/notes.md
	/usr/bin/python3 scripts/plot_bench.py build/bench/ratios.csv docs/performance.svg

bench-micro:
	@scripts/deps.sh bench
	$(BENCH_CMAKE)
	cmake --build build/bench -j $(JOBS)
	@for b in build/bench/bench/*_bench; do [ -x "$$b" ] && "$$b" || exit 1; done

# The library, its headers, CMake package and pkg-config file, the plate reader's weights, and the `vorn` program
# with its manual page and bash completion under $(PREFIX); the GStreamer plugin in the system's GStreamer plugin
# folder (GST_PLUGIN_DIR picks another). DESTDIR is honoured.
GST_PLUGIN_DIR ?= $(shell pkg-config --variable=pluginsdir gstreamer-1.0 2>/dev/null)
install:
	@scripts/deps.sh tools gst
	cmake -S . -B build/dist -G Ninja -DCMAKE_BUILD_TYPE=Release -DCMAKE_INSTALL_PREFIX=$(PREFIX) \
	  -DVORN_FAULT_INJECTION=OFF -DVORN_BUILD_TESTS=OFF -DVORN_BUILD_TOOLS=ON -DVORN_GST_PLUGIN_DIR=$(GST_PLUGIN_DIR)
	cmake --build build/dist -j $(JOBS)
	cmake --install build/dist

# The Windows DLLs (32- and 64-bit, the 64-bit tests under wine64) and the 32-bit Linux tests under qemu-i386;
# PLATFORMS="win32 win64 linux32" picks some of them.
test-platforms:
	@JOBS=$(JOBS) scripts/test-platforms.sh $(PLATFORMS)

# The libFuzzer targets (fuzz/), built with clang and the sanitizers, each run from its seeds with a fixed seed:
# `make fuzz` for as long as its coverage kept growing when measured (fuzz/plateau.txt), `make fuzz-smoke` (CI)
# for FUZZ_SMOKE_SECONDS each.
FUZZ_SMOKE_SECONDS ?= 25
build/fuzz/build.ninja:
	@scripts/deps.sh fuzz
	CC=clang CXX=clang++ cmake -S . -B build/fuzz -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DVORN_FUZZ=ON \
	  -DVORN_BUILD_TESTS=OFF -DVORN_BUILD_TOOLS=OFF -DVORN_FAULT_INJECTION=OFF -DVORN_BUILD_SHARED=OFF

fuzz: build/fuzz/build.ninja
	cmake --build build/fuzz -j $(JOBS)
	scripts/fuzz.sh build/fuzz

fuzz-smoke: build/fuzz/build.ninja
	cmake --build build/fuzz -j $(JOBS)
	scripts/fuzz.sh build/fuzz $(FUZZ_SMOKE_SECONDS)

# One-line mutations of described rules (tests/mutants.txt), each rebuilt and run against its family's tests; every
# one must be caught. MUTANTS=text runs only the lines that contain it.
build/mutants/build.ninja: | deps
	cmake -S . -B build/mutants $(CMAKE_COMMON) -DCMAKE_BUILD_TYPE=Release -DVORN_BUILD_TOOLS=OFF
mutants: build/mutants/build.ninja
	cmake --build build/mutants -j $(JOBS)
	scripts/mutants.py build/mutants $(MUTANTS)

clean:
	rm -rf build
