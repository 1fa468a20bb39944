#include "HelpText.h"

#include <sstream>
#include <vector>

namespace Rynvelctl {

const char* const summary = "registers and interrupts by device name";

namespace {

struct HelpSection {
    std::string title;
    std::vector<std::string> paragraphs;
};

const std::vector<HelpSection> helpSections{
    {"Numbers",
     {"Addresses, values, masks, counts and requests are decimal, hexadecimal after 0x or binary after 0b. A value and "
      "a mask must fit in the device's registers.",
      "Times are a number and its unit, ms, s or m, as in 100ms, and a day at most."}},
    {"Addresses",
     {"An address is a byte address for every device, a multiple of the register's size. With --index it is the index "
      "of a register. It must lie in the device's map where the device has one.",
      "The same address reaches the same register here and at a server. What the server is asked for depends on the "
      "type of its device: an offset in bytes or an index. A remote device has the type of the device of that name on "
      "this machine, or the one that --type gives. A row of type Remote16 or Remote32 in the table of this machine "
      "does not tell the type: without --type it has the address 0 alone."}},
    {"Servers",
     {"A server is a host name or an IPv4 address, with a port behind one colon or two.",
      "A server does not say why it refuses a request: the address may lie outside of the device, the type may be "
      "another one, or its options may forbid the request. The traces of rynveld say it, at level 4 of the channel "
      "Rynveld."}},
    {"Time limits",
     {"--timeout is the time of the whole command, from its start to its end, whatever it waits for: a server, an "
      "interrupt, or the next look of watch. The command ends with the status 4 then, after what it has printed so "
      "far. A driver of this machine is not interrupted in a call: the command ends when the call has returned.",
      "Without --timeout, wait and watch go on for ever. A server that takes longer than 5 s to accept a connection or "
      "to answer a request is given up."}},
    {"Interrupts",
     {"wait enables the interrupt and prints a line for each one: the time, and the word that the device reports. The "
      "interrupt stays enabled: what comes between two waits is lost on UIO devices, so wait for several with --count. "
      "A "
      "source that is not cleared interrupts again at once.",
      "irq raise works with servers that simulate their devices."}},
    {"Traces",
     {"The library's traces go where its tracing library is told to, standard error by default. Without --trace and "
      "without the environment variable ZILTRACE they are off.",
      "With a server, Rynvel.Client=7 shows the records that are exchanged."}},
    {"Completion",
     {"Completion for bash and zsh is installed. It asks the program itself: rynvelctl --complete WORD... prints what "
      "the last of the words, which may be empty, can become."}},
    {"Exit status",
     {"0: done. 1: the operation failed. 2: wrong usage. 3: the device or the server cannot be reached. 4: timed out.",
      "An address outside of a device's map is wrong usage on this machine, where the map is known. For any other "
      "device its driver or its server has to refuse it, and the operation fails. What dump has read until then is "
      "printed.",
      "What went wrong is one line on standard error. When nobody reads standard output any more the program ends "
      "without a word, and with 0."}},
};

std::string wrap(const std::string& paragraph) {
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
            text += wrap(paragraph);
        }
    }
    return text;
}

} // namespace Rynvelctl
