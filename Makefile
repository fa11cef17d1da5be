# The two everyday commands: `make run` starts Velmo, `make test` builds and runs every test.
# Both install the Debian packages the project needs first (scripts/install-deps.sh).
BUILD_DIR  ?= build
BENCH_DIR  ?= build-bench
FUZZ_DIR   ?= build-fuzz
ASAN_DIR   ?= build-asan
TSAN_DIR   ?= build-tsan
FUZZ_SECONDS ?= 60
JOBS       ?= $(shell nproc)
PREFIX     ?= /usr/local

.PHONY: all deps configure build run test check-sanitize install package bench fuzz clean

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

# velmo, velmo-mcp, the desktop entry, the icon and the man pages under $(DESTDIR)$(PREFIX).
# A configured build is only brought up to date, not configured again, so that `sudo make
# install` after `make` builds nothing as root.
install:
	@[ -f $(BUILD_DIR)/build.ninja ] || $(MAKE) --no-print-directory configure
	@cmake --build $(BUILD_DIR) -j $(JOBS)
	@DESTDIR="$(DESTDIR)" cmake --install $(BUILD_DIR) --prefix $(PREFIX) --strip

# A Debian package of the same files under /usr: $(BUILD_DIR)/velmo_<version>_<arch>.deb.
package: build
	@cmake --build $(BUILD_DIR) --target package

# Every test under AddressSanitizer with UndefinedBehaviorSanitizer, then the tests that run
# threads (the server, the main queue, the engine link, background renders, the program driven
# by the MCP SDK) under ThreadSanitizer; each in a Debug build of its own, so assertions run too.
TSAN_TESTS ?= ^(HTTP|Dispatch|HeadlessMainQueue|EngineLink|RenderOperations|AnalysisTools|EngineCore|interop_(handshake|session|bridge))
check-sanitize: deps
	@cmake -S . -B $(ASAN_DIR) -G Ninja -DCMAKE_BUILD_TYPE=Debug -DVELMO_SANITIZE=address
	@cmake --build $(ASAN_DIR) -j $(JOBS)
	@UBSAN_OPTIONS=print_stacktrace=1 ctest --test-dir $(ASAN_DIR) --output-on-failure -j $(JOBS)
	@cmake -S . -B $(TSAN_DIR) -G Ninja -DCMAKE_BUILD_TYPE=Debug -DVELMO_SANITIZE=thread
	@cmake --build $(TSAN_DIR) -j $(JOBS) --target velmo velmo-mcp velmo_server_tests velmo_Studio_tests velmo_engine_tests
	@ctest --test-dir $(TSAN_DIR) --output-on-failure -j $(JOBS) -R '$(TSAN_TESTS)'

bench: deps
	@cmake -S . -B $(BENCH_DIR) -G Ninja -DCMAKE_BUILD_TYPE=Release -DVELMO_TESTS=OFF -DVELMO_BENCH=ON
	@cmake --build $(BENCH_DIR) -j $(JOBS)
	@for b in $(BENCH_DIR)/bench/*; do [ -x "$$b" ] && [ -f "$$b" ] && { echo "== $$b"; "$$b" || exit 1; }; done

# libFuzzer with AddressSanitizer and assertions on the HTTP parser, the JSON-RPC dispatcher and
# the project-file decoder, FUZZ_SECONDS each (FUZZ_TARGETS picks some). New inputs are found in
# $(FUZZ_DIR)/found and merged into tests/fuzz/corpus only when they add coverage, cut short
# (256 bytes; 8 KiB for project files, which hold a whole synth patch per track) to keep the
# checked-in corpus small.
FUZZ_TARGETS ?= http_parser dispatcher project_file
fuzz: deps
	@cmake -S . -B $(FUZZ_DIR) -G Ninja -DCMAKE_CXX_COMPILER=clang++ -DCMAKE_BUILD_TYPE=RelWithDebInfo \
	  -DCMAKE_CXX_FLAGS_RELWITHDEBINFO="-O2 -g" -DVELMO_TESTS=OFF -DVELMO_FUZZ=ON
	@cmake --build $(FUZZ_DIR) -j $(JOBS) --target $(addprefix fuzz_,$(FUZZ_TARGETS))
	@set -e; for name in $(FUZZ_TARGETS); do \
	  case $$name in project_file) len=8192 keep=8192;; *) len=4096 keep=256;; esac; \
	  found=$(FUZZ_DIR)/found/$$name; mkdir -p $$found tests/fuzz/corpus/$$name; \
	  echo "== fuzz_$$name for $(FUZZ_SECONDS) s"; \
	  $(FUZZ_DIR)/tests/fuzz/fuzz_$$name -max_total_time=$(FUZZ_SECONDS) -max_len=$$len -dict=tests/fuzz/$$name.dict \
	    -print_final_stats=1 $$found tests/fuzz/corpus/$$name; \
	  $(FUZZ_DIR)/tests/fuzz/fuzz_$$name -merge=1 -max_len=$$keep tests/fuzz/corpus/$$name $$found; \
	done

clean:
	@rm -rf $(BUILD_DIR) $(BENCH_DIR) $(FUZZ_DIR) $(ASAN_DIR) $(TSAN_DIR)
