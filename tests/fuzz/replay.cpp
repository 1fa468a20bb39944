// SPDX-License-Identifier: MIT
// Passes each file of a folder to a fuzz target, without libFuzzer. Usage: PROGRAM FOLDER
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* input, std::size_t inputSize);

namespace {

std::string contentsOf(const std::filesystem::path& file) {
    std::ifstream stream;
    stream.exceptions(std::ios::failbit | std::ios::badbit);
    stream.open(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}

void replay(const std::filesystem::path& file) {
    std::printf("%s\n", file.c_str());
    // If a rule is broken, the last line names the file.
    std::fflush(stdout);
    const std::string input = contentsOf(file);
    LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(input.data()), input.size());
}

} // namespace

int main(int argc, char** argv) {
    try {
        std::size_t files = 0;
        for (const auto& entry : std::filesystem::directory_iterator(argc == 2 ? argv[1] : "")) {
            replay(entry.path());
            ++files;
        }
        if (files == 0) {
            std::fprintf(stderr, "%s: no inputs in %s\n", argv[0], argv[1]);
            return 1;
        }
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s: %s\n", argv[0], error.what());
        return 1;
    }
    return 0;
}
