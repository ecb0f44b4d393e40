# Wraps CMake + Ninja. `make` builds, `make test` runs every test,
# `make sanitize` runs every test under AddressSanitizer and UBSan,
# `make tsan` runs every test under ThreadSanitizer (the thread stress test
# with TSAN_STRESS_PURCHASES purchases per thread),
# `make install PREFIX=DIR` installs the library, headers and programs,
# `make deb` builds the Debian packages into $(DEB_BUILD),
# `make dist` puts every artifact for consumers into $(BUILD)/dist,
# `make demo` builds only the library and the programs of the demo (in
# $(DEMO_BUILD), without tests or GoogleTest) and runs it,
# `make bench` builds in release mode and runs the benchmarks (bench/README.md),
# `make fuzz` runs the libFuzzer targets (clang), FUZZ_SECONDS each,
# `make memcheck` runs MEMCHECK_COUNT transactions under valgrind.
BUILD      ?= build
SAN_BUILD  ?= build-sanitize
TSAN_BUILD ?= build-tsan
TSAN_STRESS_PURCHASES ?= 100
BENCH_BUILD ?= build-bench
BENCH_RESULTS ?= $(BUILD)/bench
FUZZ_BUILD ?= build-fuzz
INSTALL_BUILD ?= build-install
DEB_BUILD  ?= build-deb
DEMO_BUILD ?= build-demo
DIST       ?= $(BUILD)/dist
DEB_MAINTAINER ?=
FUZZ_SECONDS ?= 60
MEMCHECK_COUNT ?= 200
JOBS       ?= $(shell nproc)
# The programs scripts/demo.sh runs; building them builds the library.
DEMO_PROGRAMS = zelvan-txn zelvan-gateway-sim zelvan-certgen zelvan-session-key
BUILDFLAGS = DEB_BUILD_MAINT_OPTIONS=hardening=+all dpkg-buildflags --get
CMAKE_ARGS ?=
# The builds that ship or are measured (install, deb, dist, demo, bench)
# are optimised at link time; the test builds are not, to keep them quick.
RELEASE_ARGS = -DZV_LTO=ON
PREFIX     ?= /usr/local

.PHONY: all deps configure test sanitize tsan bench install deb dist fuzz memcheck demo clean

all: configure
	cmake --build $(BUILD) -j $(JOBS)

deps:
	@sh scripts/ensure-deps.sh

configure: deps
	@test -f $(BUILD)/build.ninja || cmake -S . -B $(BUILD) -G Ninja $(CMAKE_ARGS)

test: all
	cd $(BUILD) && ctest --output-on-failure -j $(JOBS)

sanitize: deps
	@test -f $(SAN_BUILD)/build.ninja || cmake -S . -B $(SAN_BUILD) -G Ninja -DZV_SANITIZE=ON -DCMAKE_BUILD_TYPE=Debug $(CMAKE_ARGS)
	cmake --build $(SAN_BUILD) -j $(JOBS)
	cd $(SAN_BUILD) && \
	  ASAN_OPTIONS=halt_on_error=1:detect_leaks=1 \
	  UBSAN_OPTIONS=halt_on_error=1:print_stacktrace=1 \
	  LSAN_OPTIONS=suppressions=$(CURDIR)/tests/lsan.supp \
	  ctest --output-on-failure -j $(JOBS)

tsan: deps
	@test -f $(TSAN_BUILD)/build.ninja || cmake -S . -B $(TSAN_BUILD) -G Ninja -DZV_TSAN=ON -DCMAKE_BUILD_TYPE=RelWithDebInfo $(CMAKE_ARGS)
	cmake --build $(TSAN_BUILD) -j $(JOBS)
	cd $(TSAN_BUILD) && \
	  TSAN_OPTIONS="halt_on_error=1 second_deadlock_stack=1 suppressions=$(CURDIR)/tests/tsan.supp" \
	  ZV_STRESS_PURCHASES=$(TSAN_STRESS_PURCHASES) \
	  ctest --output-on-failure -j $(JOBS)

bench:
	@sh scripts/ensure-deps.sh libbenchmark-dev valgrind
	@test -f $(BENCH_BUILD)/build.ninja || cmake -S . -B $(BENCH_BUILD) -G Ninja -DCMAKE_BUILD_TYPE=Release -DZV_TESTS=OFF -DZV_BENCH=ON $(RELEASE_ARGS) $(CMAKE_ARGS)
	cmake --build $(BENCH_BUILD) -j $(JOBS)
	python3 bench/run_bench.py --build $(BENCH_BUILD) --results $(BENCH_RESULTS)

# install and deb build in directories of their own without the tests, so
# that they need neither GoogleTest nor the time to build every test.
install:
	@sh scripts/ensure-deps.sh --no-tests
	@test -f $(INSTALL_BUILD)/build.ninja || cmake -S . -B $(INSTALL_BUILD) -G Ninja -DZV_TESTS=OFF -DCMAKE_BUILD_TYPE=RelWithDebInfo $(RELEASE_ARGS) $(CMAKE_ARGS)
	cmake -S . -B $(INSTALL_BUILD) -DCMAKE_INSTALL_PREFIX=$(abspath $(PREFIX))
	cmake --build $(INSTALL_BUILD) -j $(JOBS)
	cmake --install $(INSTALL_BUILD)

# The Debian packages are built with Debian's hardening flags
# (dpkg-buildflags) and put together by scripts/build-deb.sh.
deb:
	@sh scripts/ensure-deps.sh --no-tests dpkg-dev
	@test -f $(DEB_BUILD)/build.ninja || \
	  CFLAGS="$$($(BUILDFLAGS) CFLAGS) $$($(BUILDFLAGS) CPPFLAGS)" \
	  CXXFLAGS="$$($(BUILDFLAGS) CXXFLAGS) $$($(BUILDFLAGS) CPPFLAGS)" \
	  LDFLAGS="$$($(BUILDFLAGS) LDFLAGS)" \
	  cmake -S . -B $(DEB_BUILD) -G Ninja -DZV_TESTS=OFF -DCMAKE_BUILD_TYPE=RelWithDebInfo -DCMAKE_INSTALL_PREFIX=/usr $(RELEASE_ARGS) $(CMAKE_ARGS)
	cmake --build $(DEB_BUILD) -j $(JOBS)
	DEB_MAINTAINER="$(DEB_MAINTAINER)" bash scripts/build-deb.sh $(DEB_BUILD) $(DEB_BUILD)

# The C tarball is installed from $(INSTALL_BUILD) with a prefix other
# than /usr, so that its programs find the library through their run path.
# The language packages need their toolchains (installed as root).
dist: deb
	@sh scripts/ensure-deps.sh --no-tests zip
	@for language in python php java node go; do sh scripts/ensure-binding-deps-$$language.sh; done
	@test -f $(INSTALL_BUILD)/build.ninja || cmake -S . -B $(INSTALL_BUILD) -G Ninja -DZV_TESTS=OFF -DCMAKE_BUILD_TYPE=RelWithDebInfo $(RELEASE_ARGS) $(CMAKE_ARGS)
	cmake -S . -B $(INSTALL_BUILD) -DCMAKE_INSTALL_PREFIX=/usr/local
	cmake --build $(INSTALL_BUILD) -j $(JOBS)
	bash scripts/dist.sh $(DIST) $(DEB_BUILD) $(INSTALL_BUILD)

fuzz:
	@sh scripts/ensure-deps.sh clang libclang-rt-14-dev
	@test -f $(FUZZ_BUILD)/build.ninja || CC=clang CXX=clang++ cmake -S fuzz -B $(FUZZ_BUILD) -G Ninja $(CMAKE_ARGS)
	cmake --build $(FUZZ_BUILD) -j $(JOBS)
	FUZZ_BUILD=$(FUZZ_BUILD) FUZZ_SECONDS=$(FUZZ_SECONDS) bash scripts/fuzz.sh

memcheck: all
	@sh scripts/ensure-deps.sh valgrind
	BUILD=$(BUILD) MEMCHECK_COUNT=$(MEMCHECK_COUNT) bash scripts/memcheck.sh

demo:
	@sh scripts/ensure-deps.sh --no-tests
	@test -f $(DEMO_BUILD)/build.ninja || cmake -S . -B $(DEMO_BUILD) -G Ninja -DZV_TESTS=OFF $(RELEASE_ARGS) $(CMAKE_ARGS)
	cmake --build $(DEMO_BUILD) -j $(JOBS) --target $(DEMO_PROGRAMS)
	@BUILD=$(DEMO_BUILD) bash scripts/demo.sh

clean:
	rm -rf $(BUILD) $(SAN_BUILD) $(TSAN_BUILD) $(BENCH_BUILD) $(FUZZ_BUILD) $(INSTALL_BUILD) $(DEB_BUILD) $(DEMO_BUILD)
