# Front door: `make demo` and `make test`. Both install what they need first.
BUILD := build
LINUX := $(BUILD)/linux
WINDOWS := $(BUILD)/windows
CMAKE_FLAGS := -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo

.PHONY: all build build-linux build-windows deps test test-linux test-windows demo bench fuzz clean

all: build

deps:
	@scripts/install-deps

build: build-linux build-windows

$(LINUX)/build.ninja: | deps
	@cmake -S . -B $(LINUX) $(CMAKE_FLAGS) >/dev/null

$(WINDOWS)/build.ninja: | deps
	@cmake -S . -B $(WINDOWS) $(CMAKE_FLAGS) \
	  -DCMAKE_TOOLCHAIN_FILE=$(CURDIR)/cmake/mingw-w64-x86_64.cmake >/dev/null

build-linux: deps $(LINUX)/build.ninja
	@cmake --build $(LINUX)

build-windows: deps $(WINDOWS)/build.ninja
	@cmake --build $(WINDOWS)

test: test-linux test-windows

test-linux: build-linux
	@echo "== Linux suite =="
	@cd $(LINUX) && ctest --output-on-failure

test-windows: build-windows
	@echo "== Windows suite (Wine) =="
	@cd $(WINDOWS) && ctest --output-on-failure

demo: build-linux
	@scripts/demo

bench: build-linux
	@echo "no benchmarks yet"

# Each fuzz target runs for FUZZ_SECONDS on a corpus kept in build/fuzz.
FUZZ_SECONDS ?= 30
fuzz: deps
	@CC=clang CXX=clang++ cmake -S . -B $(BUILD)/fuzz $(CMAKE_FLAGS) -DKESTREL_FUZZ=ON -DBUILD_TESTING=OFF >/dev/null
	@cmake --build $(BUILD)/fuzz --target regfile_fuzz text_fuzz
	@for t in regfile text; do \
	  mkdir -p $(BUILD)/fuzz/corpus/$$t; \
	  echo "== $$t ($(FUZZ_SECONDS) s)"; \
	  $(BUILD)/fuzz/fuzz/$${t}_fuzz -max_total_time=$(FUZZ_SECONDS) $(BUILD)/fuzz/corpus/$$t \
	    >$(BUILD)/fuzz/$$t.log 2>&1 || { tail -n 40 $(BUILD)/fuzz/$$t.log; exit 1; }; \
	  tail -n 1 $(BUILD)/fuzz/$$t.log; \
	done

clean:
	rm -rf $(BUILD)
