# SPDX-License-Identifier: MIT
# The paths that board/prepare and board/run share. Sourced, never run.

board=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd -P)
tree=$(dirname "$board")
build="$tree/build/board"

. "$tree/scripts/common.sh"

image="$rynvel_cache/board/image"
