# The README's commands and a few helpers. Every build lives under build/.
JOBS ?= 2
WERROR ?= $(if $(CI),ON,OFF)
CMAKE_COMMON = -DZORLAN_WERROR=$(WERROR)

.PHONY: all demo test tsan bench bench-smoke clang package-check coverage coverage-per-test header-cost fuzz format deps clean

all: test

deps:
	@scripts/install-deps

# Builds and runs the tour example.
demo: deps
	cmake -S . -B build/release -DCMAKE_BUILD_TYPE=Release -DZORLAN_BUILD_TESTS=OFF $(CMAKE_COMMON) >/dev/null
	cmake --build build/release -j$(JOBS) --target tour
	./build/release/examples/zorlan-tour

# Builds with AddressSanitizer and UndefinedBehaviorSanitizer and runs every test.
test: deps
	cmake -S . -B build/asan -DCMAKE_BUILD_TYPE=Debug -DZORLAN_SANITIZE=address,undefined,float-cast-overflow \
	  -DCMAKE_CXX_FLAGS_DEBUG="-O1 -g" $(CMAKE_COMMON) >/dev/null
	cmake --build build/asan -j$(JOBS)
	cd build/asan && ASAN_OPTIONS=detect_leaks=1:abort_on_error=1 \
	  UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1 \
	  ctest -j$(JOBS) --no-tests=error --output-on-failure --timeout 300

# Builds with ThreadSanitizer and runs the tests labelled concurrency.
tsan: deps
	cmake -S . -B build/tsan -DCMAKE_BUILD_TYPE=Debug -DZORLAN_SANITIZE=thread \
	  -DCMAKE_CXX_FLAGS_DEBUG="-O1 -g" -DZORLAN_CONCURRENCY_TESTS_ONLY=ON \
	  -DZORLAN_BUILD_EXAMPLES=OFF -DZORLAN_BUILD_TOOLS=OFF $(CMAKE_COMMON) >/dev/null
	cmake --build build/tsan -j$(JOBS)
	cd build/tsan && TSAN_OPTIONS=halt_on_error=1:second_deadlock_stack=1 \
	  ctest -j$(JOBS) --no-tests=error -L concurrency --output-on-failure --timeout 300

# Release build of the benchmarks; runs each and prints its ratio lines.
# BENCH_ARGS go to every binary: with --benchmark_repetitions=N each ratio is
# taken from the medians of the N runs of its two sides.
bench: deps
	cmake -S . -B build/bench -DCMAKE_BUILD_TYPE=Release -DZORLAN_BUILD_TESTS=OFF \
	  -DZORLAN_BUILD_BENCHMARKS=ON -DZORLAN_BUILD_EXAMPLES=OFF -DZORLAN_BUILD_TOOLS=OFF \
	  $(CMAKE_COMMON) >/dev/null
	cmake --build build/bench -j$(JOBS) --target benchmarks
	@for b in build/bench/bench/bench_*; do echo "== $$b"; $$b $(BENCH_ARGS) || exit 1; done

# Clang 14 release build of the library, tests, tools and benchmarks: runs the
# tests and every benchmark once with a tiny iteration count.
clang: deps
	CXX=clang++-14 cmake -S . -B build/clang -DCMAKE_BUILD_TYPE=Release \
	  -DZORLAN_BUILD_BENCHMARKS=ON $(CMAKE_COMMON) >/dev/null
	cmake --build build/clang -j$(JOBS) --target all benchmarks
	cd build/clang && ctest -j$(JOBS) --no-tests=error --output-on-failure --timeout 300
	@for b in build/clang/bench/bench_*; do echo "== $$b (smoke)"; \
	  $$b --benchmark_min_time=0.0001 >/dev/null || exit 1; done

# Installs shared and static builds into temporary prefixes, copies each
# prefix elsewhere, runs the installed zf and tour from there, and builds a
# program against each through the CMake package and through pkg-config;
# then configures a project that adds the library with add_subdirectory.
package-check: deps
	@for kind in shared static; do \
	  shared=$$( [ $$kind = shared ] && echo ON || echo OFF ); \
	  echo "== package-check ($$kind)"; \
	  cmake -S . -B build/package-$$kind -DCMAKE_BUILD_TYPE=Release -DBUILD_SHARED_LIBS=$$shared \
	    -DZORLAN_BUILD_TESTS=OFF $(CMAKE_COMMON) >/dev/null || exit 1; \
	  cmake --build build/package-$$kind -j$(JOBS) || exit 1; \
	  rm -rf build/prefix-$$kind build/moved-$$kind build/consumer-$$kind; \
	  cmake --install build/package-$$kind --prefix $(CURDIR)/build/prefix-$$kind >/dev/null || exit 1; \
	  cp -a build/prefix-$$kind build/moved-$$kind; \
	  build/moved-$$kind/bin/zf --help >/dev/null || exit 1; \
	  build/moved-$$kind/bin/zorlan-tour >/dev/null || exit 1; \
	  cmake -S examples/consumer -B build/consumer-$$kind \
	    -DCMAKE_PREFIX_PATH=$(CURDIR)/build/prefix-$$kind >/dev/null || exit 1; \
	  cmake --build build/consumer-$$kind -j$(JOBS) || exit 1; \
	  LD_LIBRARY_PATH=$(CURDIR)/build/prefix-$$kind/lib ./build/consumer-$$kind/consumer || exit 1; \
	  pc="PKG_CONFIG_PATH=$(CURDIR)/build/prefix-$$kind/lib/pkgconfig"; \
	  flags=$$(env $$pc pkg-config --cflags zorlanfoundation) && \
	  libs=$$(env $$pc pkg-config --libs $$( [ $$kind = static ] && echo --static ) zorlanfoundation) && \
	  $(CXX) $$flags examples/consumer/main.cpp -o build/consumer-$$kind/consumer-pc $$libs || exit 1; \
	  LD_LIBRARY_PATH=$(CURDIR)/build/prefix-$$kind/lib ./build/consumer-$$kind/consumer-pc || exit 1; \
	done
	@echo "== package-check (add_subdirectory, configure only)"
	rm -rf build/subdirectory
	cmake -S examples/subdirectory -B build/subdirectory $(CMAKE_COMMON) | grep 'add_subdirectory:'

# How many headers the most used public headers pull in, against their limits.
header-cost: deps
	@scripts/header-cost

# Line and branch coverage of the library (src/ and include/) by the tests.
# A fresh build each time: objects of renamed or removed files would
# otherwise be counted with stale line numbers. Counters are updated
# atomically, since tests run threads.
coverage: deps
	rm -rf build/coverage
	cmake -S . -B build/coverage -DCMAKE_BUILD_TYPE=Debug \
	  -DCMAKE_CXX_FLAGS="--coverage -fprofile-update=atomic" \
	  -DCMAKE_CXX_FLAGS_DEBUG="-O0 -g" -DZORLAN_BUILD_EXAMPLES=OFF -DZORLAN_BUILD_TOOLS=OFF \
	  -DZORLAN_HEADER_CHECK=OFF $(CMAKE_COMMON) >/dev/null
	cmake --build build/coverage -j$(JOBS)
	cd build/coverage && ctest -j$(JOBS) --no-tests=error --timeout 300 >/dev/null
	gcovr -r . --object-directory build/coverage --filter 'src/' --filter 'include/' \
	  --exclude-unreachable-branches --exclude-throw-branches --gcov-ignore-parse-errors \
	  --txt build/coverage/coverage.txt --print-summary

# Each test case run alone on the coverage build: the cases that reach no line
# or branch the others do not, and how much of its own each other case holds.
coverage-per-test: coverage
	scripts/coverage-per-test build/coverage

# libFuzzer targets built with Clang, ASan and UBSan; each runs FUZZ_SECONDS, starting
# from fuzz/seeds/<target> and using fuzz/<target>.dict where they exist.
FUZZ_SECONDS ?= 60
fuzz: deps
	CXX=clang++-14 cmake -S . -B build/fuzz -DCMAKE_BUILD_TYPE=Debug \
	  -DZORLAN_SANITIZE=address,undefined -DCMAKE_CXX_FLAGS="-fsanitize=fuzzer-no-link" \
	  -DCMAKE_CXX_FLAGS_DEBUG="-O1 -g" -DZORLAN_BUILD_FUZZERS=ON -DZORLAN_BUILD_TESTS=OFF \
	  -DZORLAN_BUILD_EXAMPLES=OFF -DZORLAN_BUILD_TOOLS=OFF -DBUILD_SHARED_LIBS=OFF >/dev/null
	cmake --build build/fuzz -j$(JOBS) --target fuzzers
	@for f in build/fuzz/fuzz/fuzz_*; do name=$$(basename $$f); short=$${name#fuzz_}; \
	  mkdir -p build/fuzz/corpus/$$name; \
	  dict=$$( [ -f fuzz/$$short.dict ] && echo -dict=fuzz/$$short.dict ); \
	  seeds=$$( [ -d fuzz/seeds/$$short ] && echo fuzz/seeds/$$short ); \
	  echo "== $$name ($(FUZZ_SECONDS) s)"; \
	  $$f -max_total_time=$(FUZZ_SECONDS) -print_final_stats=1 -artifact_prefix=build/fuzz/ $$dict \
	    build/fuzz/corpus/$$name $$seeds || exit 1; done

format:
	find include src tests bench examples tools -name '*.hpp' -o -name '*.cpp' | xargs clang-format-14 -i

clean:
	rm -rf build
