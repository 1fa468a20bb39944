#include "HelpText.h"

#include <sstream>

namespace Rynvelctl {

const char* const summary = "registers and interrupts by device name";

const std::vector<HelpSection> helpSections{
    {"Numbers",
     {"Addresses, values, masks, counts and requests are decimal, hexadecimal after 0x or binary after 0b. A value and "
      "a mask must fit in the device's registers.",
      "Times are a number and its unit, ms, s or m, as in 100ms, and a day at most."}},
    {"Addresses",
     {"An address is a byte address for every device, a multiple of the register's size. With --index it is the index "
      "of a register. It must lie in the device's map where the device has one.",
      "With --remote the server is asked for the register index (of 8-bit registers: the byte address), which is what "
      "mapped devices of 16 and 32 bits take. To a device of another kind the number goes as it is with --index."}},
    {"Interrupts",
     {"wait enables the interrupt and prints a line for each one: the time, and the word that the device reports. The "
      "interrupt stays enabled: what comes between two waits is lost on UIO devices, so wait for several with --count. "
      "A "
      "source that is not cleared interrupts again at once.",
      "irq raise works with servers that simulate their devices."}},
    {"Traces",
     {"The library's traces go where its tracing library is told to, standard error by default. Without --trace and "
      "without the environment variable ZILTRACE they are off."}},
    {"Exit status",
     {"0: done. 1: the operation failed. 2: wrong usage. 3: the device or the server cannot be reached. 4: timed out.",
      "What went wrong is one line on standard error. When nobody reads standard output any more the program ends "
      "without a word, and with 0."}},
};

namespace {

/** The words of a paragraph in lines of a terminal. */
std::string wrapped(const std::string& paragraph) {
    constexpr std::size_t lineWidth = 78;
    std::istringstream words(paragraph);
    std::string text;
    std::string line = " ";
    for (std::string word; words >> word;) {
        if (line.size() + 1 + word.size() > lineWidth) {
            text += line + '\n';
            line = " ";
        }
        line += ' ' + word;
    }
    return text + line + '\n';
}

} // namespace

std::string helpFooter() {
    std::string text;
    for (const HelpSection& section : helpSections) {
        text += (text.empty() ? "" : "\n") + section.title + ":\n";
        for (const std::string& paragraph : section.paragraphs) {
            text += wrapped(paragraph);
        }
    }
    return text;
}

} // namespace Rynvelctl
