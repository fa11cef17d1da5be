# The two everyday commands: `make run` starts Velmo, `make test` builds and runs every test.
# Both install the Debian packages the project needs first (scripts/install-deps.sh).
BUILD_DIR  ?= build
BENCH_DIR  ?= build-bench
FUZZ_DIR   ?= build-fuzz
FUZZ_SECONDS ?= 60
JOBS       ?= $(shell nproc)

.PHONY: all deps configure build run test bench fuzz clean

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

# libFuzzer with AddressSanitizer on the HTTP parser and the JSON-RPC dispatcher, FUZZ_SECONDS
# each. New inputs are found in $(FUZZ_DIR)/found and merged into tests/fuzz/corpus only when they
# add coverage, cut to 256 bytes, which keeps the checked-in corpus small.
fuzz: deps
	@cmake -S . -B $(FUZZ_DIR) -G Ninja -DCMAKE_CXX_COMPILER=clang++ -DCMAKE_BUILD_TYPE=RelWithDebInfo -DVELMO_TESTS=OFF -DVELMO_FUZZ=ON
	@cmake --build $(FUZZ_DIR) -j $(JOBS) --target fuzz_http_parser fuzz_dispatcher
	@set -e; for f in http_parser:http dispatcher:json; do \
	  name=$${f%%:*}; dict=$${f##*:}; found=$(FUZZ_DIR)/found/$$name; mkdir -p $$found tests/fuzz/corpus/$$name; \
	  echo "== fuzz_$$name for $(FUZZ_SECONDS) s"; \
	  $(FUZZ_DIR)/tests/fuzz/fuzz_$$name -max_total_time=$(FUZZ_SECONDS) -max_len=4096 -dict=tests/fuzz/$$dict.dict \
	    -print_final_stats=1 $$found tests/fuzz/corpus/$$name; \
	  $(FUZZ_DIR)/tests/fuzz/fuzz_$$name -merge=1 -max_len=256 tests/fuzz/corpus/$$name $$found; \
	done

clean:
	@rm -rf $(BUILD_DIR) $(BENCH_DIR) $(FUZZ_DIR)
