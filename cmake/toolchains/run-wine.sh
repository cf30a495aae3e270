#!/bin/sh
# Runs a Windows program under wine, in a prefix of the checkout's own: run-wine.sh PROGRAM [ARGUMENT...]
checkout=$(cd "$(dirname "$0")/../.." && pwd)
compiler=x86_64-w64-mingw32-g++-posix
export WINEPREFIX="$checkout/build/wine" WINEDEBUG=-all
export WINEDLLOVERRIDES="mscoree,mshtml=" # no .NET, no browser: else wine asks whether to install them
# The compiler's libraries, which the test programs (the library itself needs none of them) load at their start.
standard_library=$(dirname "$($compiler -print-file-name=libstdc++-6.dll)")
threads=$(dirname "$($compiler -print-file-name=libwinpthread-1.dll)")
export WINEPATH="$standard_library;$threads"
exec wine "$@"
