# SPDX-License-Identifier: MIT
# The paths that board/prepare, board/run and board/selftest/run share. Source this file; do not run it.

board=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd -P)
tree=$(dirname "$board")
build="$tree/build/board"

. "$tree/scripts/common.sh"

image="$rynvel_cache/board/image"
