BUILD ?= build
JOBS ?= $(shell nproc)
PREFIX ?= $(HOME)/.local

.PHONY: all deps configure build run test bench install uninstall clean

all: build

deps:
	@bash scripts/install-deps.sh

configure: deps
	@cmake -S . -B $(BUILD) -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null

build: configure
	@cmake --build $(BUILD) -j $(JOBS)

# The window when there is a display; otherwise the headless library and web service.
run: build
	@if [ -n "$$DISPLAY$$WAYLAND_DISPLAY" ]; then exec $(BUILD)/bin/wavelocker $(ARGS); \
	else exec $(BUILD)/bin/wavelocker --serve $(ARGS); fi

test: build
	@cd $(BUILD) && QT_QPA_PLATFORM=offscreen ctest --output-on-failure -j $(JOBS) --timeout 600

bench: build
	@bash bench/run.sh $(BUILD)/bin

# Into PREFIX (default ~/.local): the programs, the desktop entry with its URL schemes and
# audio types, the icon and the AppStream data; the desktop and MIME databases are refreshed.
install: build
	@bash scripts/install.sh install $(BUILD) "$(PREFIX)"

uninstall:
	@bash scripts/install.sh uninstall $(BUILD) "$(PREFIX)"

clean:
	@rm -rf $(BUILD)
