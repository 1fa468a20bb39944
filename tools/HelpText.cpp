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

/**
 * Returns the sections about the program as a whole. This is a function instead of a constant, because most commands do
 * not need the sections.
 */
std::vector<HelpSection> helpSections() {
    return {
        {"Global options",
         {"The options that 'rynvelctl --help' lists are global options. They may precede or follow the command. "
          "--help after a command shows the help of that command, with examples."}},
        {"Numbers",
         {"You can give addresses, values, masks, counts and requests as decimal numbers, as hexadecimal numbers with "
          "the prefix 0x, or as binary numbers with the prefix 0b. A value or a mask must fit in a register of the "
          "device. The command refuses a decimal number with a leading zero, such as 010, because it may mean an octal "
          "number: give 10 or 0x8. The same applies to times and ports.",
          "A time is a number with the unit ms, s, m or h, for example 100ms or 1.5s. It must be a whole number of "
          "milliseconds. The longest time is one day.",
          "--base selects the base of printed values. It does not change addresses, JSON or the output of describe."}},
        {"Addresses",
         {"For every device, an address is a byte address and a multiple of the register's size. With --index, it is "
          "the index of a register. If the device has a map, the address must be inside the map.",
          "The same address reaches the same register on this machine and on a server. The type of the server's device "
          "determines what the command sends to the server: an offset in bytes or an index. A remote device has the "
          "type that --type gives. Without --type, it has the type of the device with the same name on this machine. "
          "If this machine's table gives that device the type Remote16 or Remote32, the type of the server's device is "
          "unknown: without --type, you can use only address 0."}},
        {"Names",
         {"An address that is not a number is a name from a register map: REGISTER, or REGISTER.FIELD for a field. A "
          "register of a cluster is CLUSTER.REGISTER, and an element of an array is REGISTER[3].",
          "The map says which registers and fields can be read and written, and which values they accept. The command "
          "refuses an operation that the map does not allow, before it opens the device. The exception is a write of "
          "some bits if the map restricts the value of their field or register: the command then first reads the "
          "register.",
          "To write several fields of a register with one write, give FIELD=VALUE for each field. The value of a field "
          "is a number or the name of an enumerated value. The other fields keep their values. If another field cannot "
          "keep its value, the command refuses the write."}},
        {"Several registers",
         {"read accepts several addresses and names, and ranges of addresses such as 0x10..0x1c. A range includes the "
          "last address.",
          "write accepts ADDRESS=VALUE for each of several registers and fields, and writes them in the order given. A "
          "field is then REGISTER.FIELD. The command ends at the first write that fails. The error message names the "
          "registers and fields that were written, and those that were not. fill and load write one register after the "
          "other. Their error messages say how many registers were written, and which is the first that was not. A "
          "signal such as that of Ctrl-C causes the same messages."}},
        {"Bits",
         {"The lowest bit is bit 0. A range of bits begins with the highest bit, as in 7:4. read, watch, poll and "
          "expect accept ADDRESS[7:4] for bits of a register, and ADDRESS[3:3] for bit 3. REGISTER[3] is always an "
          "element of an array.",
          "The BITS of set, clear and toggle are bits, ranges of bits and names of fields, separated by commas, as in "
          "0,7:4,START. A number is never a mask: 0x1f is bit 31. The commands refuse a change that would change other "
          "fields, and a change whose result the map does not allow."}},
        {"Register maps",
         {"A register map is a file in CMSIS-SVD format that describes the registers of devices. The description of a "
          "device is the peripheral with the name of the device, with an underscore in place of every character that "
          "is neither a letter nor a digit: the peripheral traf_top describes the device traf.top.",
          "The command searches the files and folders of --map. Without --map, it searches those in the environment "
          "variable RYNVEL_MAPS, separated by colons. Without either, it searches /etc/rynvel/maps and the folder "
          "share/rynvel/maps of the installation. The command uses the first description of the device."}},
        {"Servers",
         {"Give a server as a host name or an IPv4 address. To add a port, separate it from the host with one colon or "
          "two.",
          "The environment variable RYNVELCTL_REMOTE names the server of the commands without --remote. --local "
          "selects the devices of this machine even if the variable is set. For each name in this machine's device "
          "table, list asks the server to open the device.",
          "A server does not report why it refuses a request. The register address may be outside the device, "
          "the server's device may have another type, or the server's options may forbid the request. To see the "
          "reason, turn on the traces of rynveld at level 4 of the channel Rynveld."}},
        {"Time-outs",
         {"--timeout limits the time of the whole command, from start to end. This time includes every wait: for a "
          "server, for an interrupt, for the condition of poll, for the time of sleep, for the next sample of watch, "
          "for the next line of standard input, for a reader of the command's output, or for the writer of a pipe, if "
          "a file that the command reads is a pipe. When the time-out has expired, the command ends with status 4. "
          "wait and watch print each result immediately, not only when they end. The time-out cannot end a call to a "
          "driver of this machine: the command ends after the call has returned.",
          "When the time-out has expired, poll reads the register once more. A server has 100 ms to answer this read.",
          "Without --timeout, poll, wait, watch and run can run forever. Even then, a command gives up if a server "
          "takes longer than 5 s to accept a connection or to answer a request."}},
        {"Watching",
         {"On a terminal, watch draws a table in place, with the old value beside a changed one. In a pipe or a file, "
          "or if TERM is dumb, it prints a line for each change. --color and the environment variable NO_COLOR select "
          "whether changed values are highlighted.",
          "A format of watch, wait or irq is the text of a line with directives. %t is the time, %d the device, and %v "
          "the value, the interrupt word or the result of irq. watch also has %a for the address, %n for the name and "
          "%o for the old value. %% is a percent sign."}},
        {"Snapshots",
         {"save, diff and restore use the register map of the device. save and diff leave out a register if reading it "
          "has a side effect. --with-side-effects includes the register.",
          "The first argument of diff is a device or a snapshot. A name with a slash, or the name of an existing file, "
          "selects a snapshot. diff ends with status 0 if both sides are equal, with status 1 if they differ, and with "
          "status 2 if an operation fails."}},
        {"Files of commands",
         {"run reads a command from each line of a file or, with -, of standard input. All lines use the same open "
          "devices. Blanks separate the words, and # begins a comment. Give global options with run. They apply to all "
          "lines.",
          "If the command, an option or the number of arguments of a line is wrong, the command run names all such "
          "lines, and runs no line of the file. The exception is standard input: a line runs as soon as it has "
          "arrived.",
          "run ends at the first line that fails, with the status of this line. With --keep-going, it also runs the "
          "remaining lines. If the reader of standard output closes the pipe, run still runs the lines of a file, and "
          "then ends with status 1 if a line of the output is lost and no line has failed. An error message begins "
          "with FILE:LINE:. expect makes a line fail if a register or a field does not have the given value, and "
          "sleep waits between two lines. expect also reads a register if reading it has a side effect."}},
        {"Interrupts",
         {"wait enables the interrupt of a device. For each interrupt, it prints a line with the time and the "
          "interrupt word that the device reports.",
          "wait does not disable the interrupt when it ends. The kernel disables the interrupt of a UIO device if the "
          "source is still active. A UIO device loses the interrupts that arrive between two wait commands: to wait "
          "for several interrupts, use --count. If you do not clear the source of an interrupt, the device raises the "
          "interrupt again at once.",
          "irq raise works only with a server that runs with --simulate."}},
        {"Traces",
         {"The traces of librynvel are written to standard error, unless the tracing library is configured otherwise. "
          "Traces are off if you set neither --trace nor the environment variable ZILTRACE.",
          "With a server, Rynvel.Client=7 shows the records that the command and the server exchange."}},
        {"Completion",
         {"The installation contains completion for bash and zsh. Both call rynvelctl: rynvelctl --complete WORD... "
          "prints the possible completions of the last WORD. The last WORD may be empty."}},
        {"Exit status",
         {"0: the command succeeded, or standard output no longer has a reader. 1: the operation failed. 2: the "
          "command line is wrong. 3: the device or the server cannot be reached. 4: the command timed out.",
          "If a device of this machine has a map, an address outside the map is a wrong command line. For all other "
          "devices, the driver or the server checks the address. If the driver or the server refuses the address, the "
          "operation fails. If a read fails, dump prints the registers that it has read so far. dump --raw writes "
          "nothing if a read fails.",
          "An error message is one line on standard error."}},
    };
}

struct CommandExamples {
    const char* command;
    /** A line for each example. */
    const char* lines;
};

constexpr CommandExamples commandExamples[] = {
    {"list", "rynvelctl list\n"
             "rynvelctl list --json\n"
             "rynvelctl --remote 10.0.0.7 list\n"},
    {"info", "rynvelctl info traf.top\n"
             "rynvelctl --remote 10.0.0.7 info traf.top\n"},
    {"ioctl", "rynvelctl ioctl common.idt 0x4201 0\n"},
    {"read", "rynvelctl read traf.top 0x10\n"
             "rynvelctl read traf.top 0x10 0x20 0x40..0x5c\n"
             "rynvelctl read traf.top '0x10[7:4]' --quiet\n"
             "rynvelctl read traf.top 0x10 --base 2\n"
             "rynvelctl read rtc0 RTCCR.START\n"
             "rynvelctl --remote 10.0.0.7 --type Lseek16 read codec 0x10\n"},
    {"write", "rynvelctl write traf.top 0x10 0xff00 --mask 0xffff --verify\n"
              "rynvelctl write traf.top 0x10=1 0x14=0xff\n"
              "rynvelctl write rtc0 RTCCR START=running\n"},
    {"set", "rynvelctl set traf.top 0x10 0,7:4\n"
            "rynvelctl set rtc0 RTCCR START\n"},
    {"clear", "rynvelctl clear traf.top 0x10 7:4\n"},
    {"toggle", "rynvelctl toggle traf.top 0x10 0\n"},
    {"dump", "rynvelctl dump traf.top 0x100 64\n"
             "rynvelctl dump common.idt 0 64 --burst\n"
             "rynvelctl dump traf.top 0x100 64 --raw >registers.bin\n"},
    {"fill", "rynvelctl fill traf.top 0x100 64 0\n"},
    {"load", "rynvelctl load traf.top 0x100 registers.bin\n"
             "rynvelctl dump traf.top 0 64 --raw | rynvelctl load traf.car 0\n"},
    {"poll", "rynvelctl poll traf.top '0x14[31:31]' 1 --timeout 1s\n"
             "rynvelctl poll traf.top 0x14 0 --mask 0xf0 --not\n"
             "rynvelctl poll rtc0 RTCCR.START running --timeout 1s\n"},
    {"watch", "rynvelctl watch traf.top 0x10 0x14\n"
              "rynvelctl watch traf.top 0x10 --plot --interval 0.1s\n"
              "rynvelctl watch rtc0 RTCDR --interval 500ms --count 10\n"
              "rynvelctl watch rtc0 RTCDR --format '%t %v (was %o)'\n"
              "rynvelctl watch rtc0 RTCDR --csv --count 100 >changes.csv\n"},
    {"show", "rynvelctl show rtc0\n"
             "rynvelctl show rtc0 RTCCR RTCRIS\n"},
    {"save", "rynvelctl save rtc0 before.json\n"},
    {"diff", "rynvelctl diff rtc0 before.json\n"
             "rynvelctl diff ./before.json ./after.json\n"},
    {"restore", "rynvelctl restore rtc0 before.json --dry-run\n"
                "rynvelctl restore rtc0 before.json\n"},
    {"describe", "rynvelctl describe rtc0\n"
                 "rynvelctl describe rtc0 RTCCR\n"},
    {"maps", "rynvelctl maps list\n"},
    {"maps list", "rynvelctl maps list\n"
                  "rynvelctl --map board/maps maps list\n"},
    {"maps check", "rynvelctl maps check rtc0.svd\n"},
    {"maps header", "rynvelctl maps header rtc0 >rtc0.h\n"},
    {"maps wireshark", "rynvelctl maps wireshark rtc0 >registers.txt\n"},
    {"irq", "rynvelctl irq tod type\n"
            "rynvelctl irq tod enable\n"
            "rynvelctl --remote 127.0.0.1 irq tod raise 1\n"},
    {"wait", "rynvelctl wait tod --timeout 2s\n"
             "rynvelctl wait tod --count 10 --each 1s\n"
             "rynvelctl wait tod --count 10 --format '%t %v'\n"},
    {"ping", "rynvelctl --remote 10.0.0.7 ping\n"
             "rynvelctl --remote 10.0.0.7 ping traf.top --count 100\n"},
    {"sleep", "rynvelctl sleep 100ms\n"},
    {"expect", "rynvelctl expect traf.top 0x10 0xff00\n"
               "rynvelctl expect rtc0 RTCCR.START running\n"},
    {"run", "rynvelctl run start-up.txt\n"
            "rynvelctl run --keep-going start-up.txt --timeout 10s\n"
            "echo 'read traf.top 0x10' | rynvelctl run -\n"},
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

std::string programFooter() {
    std::string text;
    for (const HelpSection& section : helpSections()) {
        text += (text.empty() ? "" : "\n") + section.title + ":\n";
        for (const std::string& paragraph : section.paragraphs) {
            text += wrap(paragraph);
        }
    }
    return text;
}

std::string commandFooter(const std::string& command) {
    std::string text = "Global options:\n" +
                       wrap("They may precede or follow the command. 'rynvelctl --help' lists them.") + "\nExamples:\n";
    std::istringstream examples(examplesOf(command));
    for (std::string example; std::getline(examples, example);) {
        text += "  " + example + '\n';
    }
    return text;
}

} // namespace

std::string examplesOf(const std::string& command) {
    for (const CommandExamples& examples : commandExamples) {
        if (command == examples.command) {
            return examples.lines;
        }
    }
    return "";
}

std::string helpFooter(const std::string& command) {
    return command.empty() ? programFooter() : commandFooter(command);
}

} // namespace Rynvelctl
