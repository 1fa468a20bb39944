// SPDX-License-Identifier: MIT
#include "HelpText.h"

#include <sstream>
#include <vector>

namespace Rynvelctl {

const char* const programSummary = "registers and interrupts by device name";

namespace {

struct HelpSection {
    std::string title;
    std::vector<std::string> paragraphs;
};

const std::vector<HelpSection> helpSections{
    {"Global options",
     {"The options that 'rynvelctl --help' lists are global options. They may precede or follow the command. --help "
      "after a command shows the help of that command."}},
    {"Numbers",
     {"You can give addresses, values, masks, counts and requests as decimal numbers, as hexadecimal numbers with the "
      "prefix 0x, or as binary numbers with the prefix 0b. A value or a mask must fit in a register of the device.",
      "A time is a whole number with the unit ms, s or m, for example 100ms. The longest time is one day."}},
    {"Addresses",
     {"For every device, an address is a byte address and a multiple of the register's size. With --index, it is the "
      "index of a register. If the device has a map, the address must be inside the map.",
      "The same address reaches the same register on this machine and on a server. The type of the server's device "
      "determines what the command sends to the server: an offset in bytes or an index. A remote device has the type "
      "that --type gives. Without --type, it has the type of the device with the same name on this machine. If this "
      "machine's table gives that device the type Remote16 or Remote32, the type of the server's device is unknown: "
      "without --type, you can use only address 0."}},
    {"Names",
     {"An address that is not a number is a name from a register map: REGISTER, or REGISTER.FIELD for a field. A "
      "register of a cluster is CLUSTER.REGISTER, and an element of an array is REGISTER[3].",
      "The map says which registers and fields can be read and written, and which values they accept. The command "
      "refuses an operation that the map does not allow, before it opens the device.",
      "To write several fields of a register with one write, give FIELD=VALUE for each field. The value of a field is "
      "a number or the name of an enumerated value. The other fields keep their values. If another field cannot keep "
      "its value, the command refuses the write."}},
    {"Register maps",
     {"A register map is a file in CMSIS-SVD format that describes the registers of devices. The description of a "
      "device is the peripheral with the name of the device, with an underscore in place of every character that is "
      "neither a letter nor a digit: the peripheral traf_top describes the device traf.top.",
      "The command searches the files and folders of --map. Without --map, it searches those in the environment "
      "variable RYNVEL_MAPS, separated by colons. Without either, it searches /etc/rynvel/maps and the folder "
      "share/rynvel/maps of the installation. The command uses the first description of the device."}},
    {"Servers",
     {"A server is a host name or an IPv4 address. To add a port, separate it from the host with one colon or two.",
      "A server does not report why it refuses a request. The register address may be outside the device, the "
      "server's device may have another type, or the server's options may forbid the request. To see the reason, turn "
      "on the traces of rynveld at level 4 of the channel Rynveld."}},
    {"Time-outs",
     {"--timeout limits the time of the whole command, from start to end. This time includes every wait: for a server, "
      "for an interrupt, for the next sample of watch, for a reader of the command's output, or for the writer of a "
      "pipe, if a snapshot or a register map is a pipe. When this time has expired, the command ends with status 4. "
      "wait and watch print each result immediately, not only when they end. The command cannot interrupt a driver of "
      "this machine: during a call to the driver, it waits until the call returns.",
      "Without --timeout, wait and watch can run forever. Even then, a command gives up if a server takes longer than "
      "5 s to accept a connection or to answer a request."}},
    {"Snapshots",
     {"save, diff and restore use the register map of the device. save and diff leave out a register if reading it has "
      "a side effect. --with-side-effects includes the register.",
      "The first argument of diff is a device or a snapshot. A name with a slash, or the name of an existing file, "
      "selects a snapshot. diff ends with status 0 if both sides are equal, with status 1 if they differ, and with "
      "status 2 if an operation fails."}},
    {"Interrupts",
     {"wait enables the interrupt of a device. For each interrupt, it prints a line with the time and the interrupt "
      "word that the device reports.",
      "wait does not disable the interrupt when it ends. The kernel disables the interrupt of a UIO device if the "
      "source is still active. A UIO device loses the interrupts that arrive "
      "between two wait commands: to wait for several interrupts, use --count. If you do not clear the source of an "
      "interrupt, the device raises the interrupt again at once.",
      "irq raise works only with a server that runs with --simulate."}},
    {"Traces",
     {"The traces of librynvel are written to standard error, unless the tracing library is configured otherwise. "
      "Traces are off if you set neither --trace nor the environment variable ZILTRACE.",
      "With a server, Rynvel.Client=7 shows the records that the command and the server exchange."}},
    {"Completion",
     {"The installation contains completion for bash and zsh. Both call rynvelctl: "
      "rynvelctl --complete WORD... prints the possible completions of the last WORD. The last WORD may be "
      "empty."}},
    {"Exit status",
     {"0: the command succeeded, or standard output no longer has a reader. 1: the operation failed. 2: the command "
      "line is wrong. 3: the device or the server cannot be reached. 4: the command timed out.",
      "If a device of this machine has a map, an address outside the map is a wrong command line. "
      "For all other devices, the driver or the server checks the address. If it refuses the address, the operation "
      "fails. If a read fails, dump prints the registers that it has read so far.",
      "An error message is one line on standard error."}},
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
