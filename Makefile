# The two everyday commands: `make run` starts Velmo, `make test` builds and runs every test.
# Both install the Debian packages the project needs first (scripts/install-deps.sh).
BUILD_DIR  ?= build
BENCH_DIR  ?= build-bench
JOBS       ?= $(shell nproc)

.PHONY: all deps configure build run test bench clean

all: build

deps:
	@scripts/install-deps.sh

configure: deps
	@cmake -S . -B $(BUILD_DIR) -G Ninja

build: configure
	@cmake --build $(BUILD_DIR) -j $(JOBS)

run: build
	@$(BUILD_DIR)/Velmo/velmo

test: build
	@ctest --test-dir $(BUILD_DIR) --output-on-failure -j $(JOBS)

bench: deps
	@cmake -S . -B $(BENCH_DIR) -G Ninja -DCMAKE_BUILD_TYPE=Release -DVELMO_TESTS=OFF -DVELMO_BENCH=ON
	@cmake --build $(BENCH_DIR) -j $(JOBS)
	@for b in $(BENCH_DIR)/bench/*; do [ -x "$$b" ] && [ -f "$$b" ] && { echo "== $$b"; "$$b" || exit 1; }; done

clean:
	@rm -rf $(BUILD_DIR) $(BENCH_DIR)
