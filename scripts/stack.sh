#!/usr/bin/env bash
# Fails if a function of the interface may need more than 32 KiB of stack. Prints the ten that need most.
source "$(dirname "$0")/lib.sh"
need "${build_packages[@]}"
export CCACHE_DISABLE=1 # a compiler cache stores objects without their call graphs
cmake --preset stack >/dev/null
cmake --build --preset stack
python3 scripts/check_stack.py build/stack
