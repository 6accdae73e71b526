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

# The Linux suite exchanges shortcut files with the Windows build under Wine.
test-linux: build-windows

demo: build-linux
	@scripts/demo

# Every benchmark program in build/linux/bench; BENCH=name runs one.
BENCH ?=
bench: build-linux
	@set -e; for b in $(LINUX)/bench/*_bench; do \
	  [ -x "$$b" ] || continue; \
	  case "$$b" in *$(BENCH)*) ;; *) continue ;; esac; \
	  echo "== $$(basename $$b)"; "$$b"; \
	done

# Each fuzz target (fuzz/NAME_fuzz.cpp) runs for FUZZ_SECONDS on a corpus kept
# in build/fuzz; FUZZ_TARGETS="name ..." runs some of them.
FUZZ_SECONDS ?= 30
FUZZ_TARGETS ?= $(patsubst fuzz/%_fuzz.cpp,%,$(wildcard fuzz/*_fuzz.cpp))
fuzz: deps
	@CC=clang CXX=clang++ cmake -S . -B $(BUILD)/fuzz $(CMAKE_FLAGS) -DKESTREL_FUZZ=ON -DBUILD_TESTING=OFF >/dev/null
	@cmake --build $(BUILD)/fuzz --target $(addsuffix _fuzz,$(FUZZ_TARGETS))
	@for t in $(FUZZ_TARGETS); do \
	  mkdir -p $(BUILD)/fuzz/corpus/$$t; \
	  echo "== $$t ($(FUZZ_SECONDS) s)"; \
	  $(BUILD)/fuzz/fuzz/$${t}_fuzz -max_total_time=$(FUZZ_SECONDS) $(BUILD)/fuzz/corpus/$$t \
	    >$(BUILD)/fuzz/$$t.log 2>&1 || { tail -n 40 $(BUILD)/fuzz/$$t.log; exit 1; }; \
	  tail -n 1 $(BUILD)/fuzz/$$t.log; \
	done

clean:
	rm -rf $(BUILD)
