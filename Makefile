# Thin wrapper: CMake and Ninja do the work, the scripts hold the longer recipes.
BUILD ?= build

.PHONY: all build run demo test check bench fuzz format format-check clean

all: build

$(BUILD)/build.ninja:
	cmake -S . -B $(BUILD) -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo

build: $(BUILD)/build.ninja
	ninja -C $(BUILD)

# The main job: the iPods connected to this machine, then a note written onto an example iPod.
run: build
	$(BUILD)/bin/tivaro ipods
	scripts/example-note $(BUILD)

# The first thing to try: sample news feeds synced onto a demo iPod in ./tivaro-demo.
demo: build
	$(BUILD)/bin/tivaro demo

# The quick loop while developing.
test: build
	ctest --test-dir $(BUILD) --output-on-failure -j$$(nproc)

# Everything CI checks: formatting, strict build and tests, fuzzers, tests under the sanitizers.
check:
	scripts/check

bench:
	scripts/run-bench

fuzz:
	scripts/run-fuzz

format:
	git ls-files '*.cpp' '*.h' | xargs clang-format-14 -i

format-check:
	scripts/check-format

clean:
	rm -rf build build-check build-asan build-fuzz build-bench
