// SPDX-License-Identifier: MIT
#include "Snapshot.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <set>
#include <string>

#include "JsonReader.h"
#include "Rule.h"

namespace {

using namespace RynvelFuzz;

void requirePossible(const Rynvelctl::Snapshot& snapshot) {
    std::set<std::string> names;
    for (const Rynvelctl::SavedRegister& saved : snapshot.registers) {
        require(names.insert(saved.name).second, "a snapshot holds each register once");
        require(saved.size >= 1 && saved.size <= 32, "a register has 1 to 32 bits");
        require(std::uint64_t{saved.value} >> saved.size == 0, "a value fits in its register");
    }
}

void requireLine(std::size_t line, const std::string& text) {
    const auto lines = static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n')) + 1;
    require(line >= 1 && line <= lines, "an error is in a line of the file");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* input, std::size_t inputSize) {
    const std::string text(input, input + inputSize);
    try {
        const Rynvelctl::Snapshot snapshot = Rynvelctl::parseSnapshot(text);
        requirePossible(snapshot);
        const std::string written = Rynvelctl::snapshotText(snapshot);
        require(Rynvelctl::snapshotText(Rynvelctl::parseSnapshot(written)) == written,
                "writing and reading keeps a snapshot");
    } catch (const Rynvelctl::WrongJson& error) {
        requireLine(error.line(), text);
    }
    return 0;
}
