// SPDX-License-Identifier: MIT
#include "InputFile.h"

#include <cerrno>
#include <cstdio>
#include <memory>
#include <system_error>

namespace Common {

namespace {

std::system_error lastError() { return {errno, std::generic_category()}; }

std::string readBytes(std::FILE& file, std::size_t most) {
    constexpr std::size_t step = 65536;
    std::string bytes;
    std::size_t count = step;
    while (count == step && bytes.size() <= most) {
        const std::size_t size = bytes.size();
        bytes.resize(size + step);
        count = std::fread(&bytes[size], 1, step, &file);
        bytes.resize(size + count);
    }
    return bytes;
}

} // namespace

std::string readFile(const std::string& name, std::size_t most) {
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(name.c_str(), "rbe"), std::fclose);
    if (!file) {
        throw lastError();
    }
    std::string bytes = readBytes(*file, most);
    if (std::ferror(file.get()) != 0) {
        throw lastError();
    }
    return bytes;
}

} // namespace Common
