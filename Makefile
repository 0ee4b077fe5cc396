# Quick start: `make demo` runs the main job on a built-in device; `make test` builds and runs
# every test. Each target installs missing Debian packages first.
JOBS ?= $(shell nproc)
CMAKE_FLAGS ?=

.PHONY: all deps build test sanitize bench fuzz demo route-demo format clean

all: build

deps:
	@./tools/install_deps.sh

build: deps
	cmake -S . -B build -DCMAKE_BUILD_TYPE=RelWithDebInfo $(CMAKE_FLAGS)
	cmake --build build -j$(JOBS)

test: build
	cd build && ctest --output-on-failure -j$(JOBS)

sanitize: deps
	cmake -S . -B build-sanitize -DCMAKE_BUILD_TYPE=Debug -DFAB_SANITIZE=ON $(CMAKE_FLAGS)
	cmake --build build-sanitize -j$(JOBS)
	cd build-sanitize && ctest --output-on-failure -j$(JOBS)

bench: deps
	cmake -S . -B build-bench -DCMAKE_BUILD_TYPE=Release -DFAB_BUILD_TESTS=OFF -DFAB_BUILD_BENCH=ON $(CMAKE_FLAGS)
	cmake --build build-bench -j$(JOBS)
	@for b in build-bench/bench/bench_*; do echo "== $$b"; $$b || exit 1; done

# libFuzzer targets of every reader, built with clang 14 in build-fuzz and run one after the
# other for FUZZ_SECONDS each (default 60), or to FUZZ_RUNS executions when that comes first.
FUZZ_SECONDS ?= 60
fuzz: deps
	@./tools/install_deps.sh fuzz
	CC=clang-14 CXX=clang++-14 cmake -S . -B build-fuzz -DCMAKE_BUILD_TYPE=RelWithDebInfo \
		-DFAB_FUZZ=ON -DFAB_BUILD_TESTS=OFF $(CMAKE_FLAGS)
	cmake --build build-fuzz -j$(JOBS) --target fuzz_all
	FUZZ_SECONDS=$(FUZZ_SECONDS) ./fuzz/run_fuzz.sh build-fuzz

# The built-in default device (the generator's small size), written straight into the four run
# files, then the whole run on it.
DEMO_DIR ?= build/demo
demo: build
	build/tools/fab_devgen --size small --direct --out $(DEMO_DIR)
	build/tools/fab_run $(DEMO_DIR) --stats-json $(DEMO_DIR)/stats.json

# The small device routed by nextpnr-generic, and its routes turned into block settings.
ROUTE_DIR ?= build/route-demo
route-demo: build
	tools/route_chain.sh build $(ROUTE_DIR) small

format:
	find src tests tools bench -name '*.h' -o -name '*.cpp' | xargs clang-format -i -style=file

clean:
	rm -rf build build-sanitize build-bench build-fuzz
