# Two commands do everything on a fresh machine: `make demo` and `make test`.
JOBS ?= $(shell nproc)
BUILD ?= build/default
FUZZ_SECONDS ?= 60

.PHONY: all configure demo test test-core test-cross bench fuzz lint clean
all: configure
	cmake --build $(BUILD) --parallel $(JOBS)

configure:
	scripts/install-deps
	cmake -S . -B $(BUILD) $(CMAKE_ARGS)

demo: configure
	cmake --build $(BUILD) --parallel $(JOBS) --target zkhal_tool zkhal_example_host
	scripts/demo $(BUILD)

test: all
	ctest --test-dir $(BUILD) --output-on-failure --parallel $(JOBS)

# The C++ tests alone: the library, the virtual robots, the sessions.
test-core: configure
	cmake --build $(BUILD) --parallel $(JOBS) --target zkhal_core_tests
	ctest --test-dir $(BUILD) --output-on-failure --parallel $(JOBS) --label-regex core

# The same bytes on 32 bits and with the high byte first; Windows and WebAssembly build.
test-cross:
	scripts/install-deps cross
	scripts/test-cross armhf s390x mingw-w64 wasm32-wasi

bench:
	scripts/install-deps bench
	cmake --preset release
	cmake --build build/release --parallel $(JOBS)
	build/release/bench/zkhal_bench

fuzz:
	scripts/install-deps lint
	cmake --preset fuzz
	cmake --build build/fuzz --parallel $(JOBS)
	scripts/fuzz build/fuzz $(FUZZ_SECONDS)

lint:
	scripts/install-deps lint
	scripts/check

clean:
	rm -rf build
