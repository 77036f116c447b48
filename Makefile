# The two commands: `make demo` runs the main job on a built-in sample, `make test` builds and passes every test
# (a Release build and an AddressSanitizer + UndefinedBehaviorSanitizer build). Both install what they need.
JOBS ?= $(shell nproc 2>/dev/null || echo 2)
CMAKE_COMMON = -G Ninja -DVORN_FAULT_INJECTION=ON
CTEST = ctest --output-on-failure -j $(JOBS) --timeout 600

PREFIX ?= /usr/local

.PHONY: all deps test test-release test-asan demo view bench install test-platforms fuzz clean

all: build/release/build.ninja
	cmake --build build/release -j $(JOBS)

deps:
	@scripts/deps.sh test tools viewer

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

# The demo's outputs in a browser (after `make demo`): prints the address to open; Ctrl-C stops it.
view: build/release/build.ninja
	cmake --build build/release -j $(JOBS) --target vorn
	build/release/tools/vorn view

bench:
	@scripts/deps.sh bench
	cmake -S . -B build/bench -G Ninja -DCMAKE_BUILD_TYPE=Release -DVORN_BUILD_BENCH=ON -DVORN_BUILD_TESTS=OFF
	cmake --build build/bench -j $(JOBS)
	@for b in build/bench/bench/*_bench; do [ -x "$$b" ] && "$$b" || exit 1; done

# The library, its headers, CMake package and pkg-config file under $(PREFIX) (DESTDIR is honoured).
install:
	@scripts/deps.sh
	cmake -S . -B build/dist -G Ninja -DCMAKE_BUILD_TYPE=Release -DCMAKE_INSTALL_PREFIX=$(PREFIX) \
	  -DVORN_FAULT_INJECTION=OFF -DVORN_BUILD_TESTS=OFF -DVORN_BUILD_TOOLS=OFF
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

clean:
	rm -rf build
