# The two commands: `make demo` runs the main job on a built-in sample, `make test` builds and passes every test
# (a Release build and an AddressSanitizer + UndefinedBehaviorSanitizer build). Both install what they need.
JOBS ?= $(shell nproc 2>/dev/null || echo 2)
CMAKE_COMMON = -G Ninja -DVORN_FAULT_INJECTION=ON
CTEST = ctest --output-on-failure -j $(JOBS) --timeout 600

PREFIX ?= /usr/local

.PHONY: all deps test test-release test-asan demo bench install test-platforms fuzz mutants clean

all: build/release/build.ninja
	cmake --build build/release -j $(JOBS)

deps:
	@scripts/deps.sh test tools gst

build/release/build.ninja: | deps
	cmake -S . -B build/release $(CMAKE_COMMON) -DCMAKE_BUILD_TYPE=Release

build/asan/build.ninja: | deps
	cmake -S . -B build/asan $(CMAKE_COMMON) -DCMAKE_BUILD_TYPE=RelWithDebInfo -DVORN_SANITIZE=ON

test-release: build/release/build.ninja
	cmake --build build/release -j $(JOBS)
	cd build/release && $(CTEST)

test-asan: build/asan/build.ninja
	cmake --build build/asan -j $(JOBS)
	cd build/asan && ASAN_OPTIONS=detect_leaks=1:abort_on_error=1 UBSAN_OPTIONS=print_stacktrace=1 $(CTEST)

test: test-release test-asan

# The `vorn` program on its built-in street scene: events, annotated video, snapshot and the scene's truth go to out/.
demo: build/release/build.ninja
	cmake --build build/release -j $(JOBS) --target vorn
	build/release/tools/vorn demo --out out

bench:
	@scripts/deps.sh bench
	cmake -S . -B build/bench -G Ninja -DCMAKE_BUILD_TYPE=Release -DVORN_BUILD_BENCH=ON -DVORN_BUILD_TESTS=OFF
	cmake --build build/bench -j $(JOBS)
	@for b in build/bench/bench/*_bench; do [ -x "$$b" ] && "$$b" || exit 1; done

# The library, its headers, CMake package and pkg-config file under $(PREFIX), and the GStreamer plugin in the
# system's GStreamer plugin folder (GST_PLUGIN_DIR picks another; DESTDIR is honoured).
GST_PLUGIN_DIR ?= $(shell pkg-config --variable=pluginsdir gstreamer-1.0 2>/dev/null)
install:
	@scripts/deps.sh tools gst
	cmake -S . -B build/dist -G Ninja -DCMAKE_BUILD_TYPE=Release -DCMAKE_INSTALL_PREFIX=$(PREFIX) \
	  -DVORN_FAULT_INJECTION=OFF -DVORN_BUILD_TESTS=OFF -DVORN_GST_PLUGIN_DIR=$(GST_PLUGIN_DIR)
	cmake --build build/dist -j $(JOBS)
	cmake --install build/dist

# The Windows DLLs (32- and 64-bit, the 64-bit tests under wine64) and the 32-bit Linux tests under qemu-i386;
# PLATFORMS="win32 win64 linux32" picks some of them.
test-platforms:
	@JOBS=$(JOBS) scripts/test-platforms.sh $(PLATFORMS)

# The libFuzzer targets (fuzz/), built with clang and the sanitizers, each run from its seeds for FUZZ_RUNS inputs
# with a fixed seed (FUZZ_SECONDS caps each target's time).
FUZZ_RUNS ?= 20000
FUZZ_SECONDS ?= 60
fuzz:
	@scripts/deps.sh fuzz
	CC=clang CXX=clang++ cmake -S . -B build/fuzz -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DVORN_FUZZ=ON \
	  -DVORN_BUILD_TESTS=OFF -DVORN_BUILD_TOOLS=OFF -DVORN_FAULT_INJECTION=OFF -DVORN_BUILD_SHARED=OFF
	cmake --build build/fuzz -j $(JOBS)
	scripts/fuzz.sh build/fuzz $(FUZZ_RUNS) $(FUZZ_SECONDS)

# One-line mutations of described rules (tests/mutants.txt), each rebuilt and run against its family's tests; every
# one must be caught. MUTANTS=text runs only the lines that contain it.
build/mutants/build.ninja: | deps
	cmake -S . -B build/mutants $(CMAKE_COMMON) -DCMAKE_BUILD_TYPE=Release -DVORN_BUILD_TOOLS=OFF
mutants: build/mutants/build.ninja
	cmake --build build/mutants -j $(JOBS)
	scripts/mutants.py build/mutants $(MUTANTS)

clean:
	rm -rf build
