// SPDX-License-Identifier: MIT
#include "MapReader.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <deque>
#include <memory>
#include <utility>

#include "Consistency.h"
#include "DefinitionReader.h"
#include "Expansion.h"
#include "TextEncoding.h"
#include "XmlDocument.h"

namespace Maps {

namespace {

std::string tooLarge(const Limits& limits) {
    return "the file has more than " + std::to_string(limits.bytes) + " bytes";
}

Device readDevice(std::string bytes, Warnings& warnings, const Limits& limits) {
    if (bytes.size() > limits.bytes) {
        throw MalformedMap(0, tooLarge(limits));
    }
    Utf8Text text = toUtf8(std::move(bytes));
    if (text.isGuessed) {
        warnings.add(0, "the file is not UTF-8, and was read as ISO-8859-1");
    }
    const XmlDocument document(std::move(text.text), warnings);
    std::deque<Definition> definitions;
    std::deque<std::string> texts;
    Source source{document, warnings, limits, definitions, texts};
    Device device = expand(readDefinitions(source), warnings, limits);
    checkConsistency(device, warnings);
    return device;
}

/** Reads a file up to its end, or until there are more than `most` bytes. */
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

ReadMap failure(std::vector<Diagnostic> diagnostics, std::size_t line, const std::string& text) {
    diagnostics.push_back({Severity::Error, line, text});
    return {std::nullopt, std::move(diagnostics)};
}

} // namespace

ReadMap readMap(std::string bytes, const Limits& limits) {
    Warnings warnings(limits.warnings);
    try {
        Device device = readDevice(std::move(bytes), warnings, limits);
        return {std::move(device), warnings.inOrder()};
    } catch (const MalformedMap& error) {
        return failure(warnings.inOrder(), error.line(), error.what());
    }
}

ReadMap readMapFile(const std::string& name, const Limits& limits) {
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(name.c_str(), "rbe"), std::fclose);
    if (!file) {
        return failure({}, 0, std::strerror(errno));
    }
    std::string bytes = readBytes(*file, limits.bytes);
    if (std::ferror(file.get()) != 0) {
        return failure({}, 0, std::strerror(errno));
    }
    return readMap(std::move(bytes), limits);
}

} // namespace Maps
