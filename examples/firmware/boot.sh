#!/bin/bash
# Usage: boot.sh PROGRAM
# Boots PROGRAM (firmware.elf) on an emulated board; its files appear in the current folder.
set -euo pipefail
export QEMU_AUDIO_DRV=none
exec timeout 60 qemu-system-arm -M vexpress-a9 -nographic -monitor none -serial none \
    -semihosting-config enable=on,target=native -kernel "$1" </dev/null
