#include "Program.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

#include <gtest/gtest.h>

namespace RynvelTest {

namespace {

struct Pipe {
    Pipe() { EXPECT_EQ(pipe2(ends.data(), O_CLOEXEC), 0); }
    std::array<int, 2> ends{};
};

/** The program itself, or the emulator that runs it. */
Arguments commandOf(const std::string& path, const Arguments& arguments) {
    Arguments command = words(RYNVEL_EMULATOR);
    command.push_back(path);
    command.insert(command.end(), arguments.begin(), arguments.end());
    return command;
}

/** Keeps the files that whoever runs the tests has left open from the program, whose first descriptor then is 3. */
void keepOtherFiles() {
    for (int descriptor = 3; descriptor < 256; ++descriptor) {
        fcntl(descriptor, F_SETFD, FD_CLOEXEC);
    }
}

/** Takes what is there; false at the end. */
bool readSome(int descriptor, std::string& text) {
    std::array<char, 4096> buffer{};
    const ssize_t count = read(descriptor, buffer.data(), buffer.size());
    text.append(buffer.data(), static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
    return count > 0;
}

/** Reads both to their ends; a descriptor of -1 has nothing. */
void readAll(int first, std::string& firstText, int second, std::string& secondText) {
    std::array<pollfd, 2> waiting{{{first, POLLIN, 0}, {second, POLLIN, 0}}};
    while (waiting[0].fd != -1 || waiting[1].fd != -1) {
        poll(waiting.data(), waiting.size(), -1);
        if (waiting[0].fd != -1 && waiting[0].revents != 0 && !readSome(first, firstText)) {
            waiting[0].fd = -1;
        }
        if (waiting[1].fd != -1 && waiting[1].revents != 0 && !readSome(second, secondText)) {
            waiting[1].fd = -1;
        }
    }
}

const std::string timePattern = "0000-00-00T00:00:00.000000Z";

bool isTime(std::string text) {
    std::replace_if(
        text.begin(), text.end(), [](unsigned char character) { return std::isdigit(character) != 0; }, '0');
    return text == timePattern;
}

} // namespace

Arguments words(const std::string& line) {
    std::istringstream stream(line);
    Arguments result;
    for (std::string word; stream >> word;) {
        result.push_back(word);
    }
    return result;
}

Program::Program(const std::string& path, const Arguments& arguments, const std::string& folder, int output) {
    Pipe outputPipe;
    Pipe errorPipe;
    m_output = outputPipe.ends[0];
    m_error = errorPipe.ends[0];
    start(path, arguments, folder, output == toTheTest ? outputPipe.ends[1] : output, errorPipe.ends[1]);
    close(outputPipe.ends[1]);
    close(errorPipe.ends[1]);
}

void Program::start(const std::string& path, const Arguments& arguments, const std::string& folder, int output,
                    int error) {
    Arguments command = commandOf(path, arguments);
    std::vector<char*> pointers;
    for (std::string& word : command) {
        pointers.push_back(word.data());
    }
    pointers.push_back(nullptr);
    unsetenv("ZILTRACE");
    m_process = fork();
    if (m_process == 0) {
        dup2(output, STDOUT_FILENO);
        dup2(error, STDERR_FILENO);
        keepOtherFiles();
        if (chdir(folder.c_str()) == 0) {
            execvp(pointers[0], pointers.data());
        }
        _exit(127);
    }
}

Program::~Program() {
    closeOutput();
    if (m_process != -1) {
        kill(m_process, SIGKILL);
        waitpid(m_process, nullptr, 0);
    }
    close(m_error);
}

std::string Program::line(int descriptor) {
    std::string text;
    char character = 0;
    while (read(descriptor, &character, 1) == 1 && character != '\n') {
        text += character;
    }
    return text;
}

void Program::closeOutput() {
    if (m_output != -1) {
        close(m_output);
        m_output = -1;
    }
}

void Program::signal(int number) const { EXPECT_EQ(kill(m_process, number), 0); }

Ending Program::wait() {
    Ending ending{};
    readAll(m_output, ending.output, m_error, ending.error);
    int status = 0;
    EXPECT_EQ(waitpid(m_process, &status, 0), m_process);
    m_process = -1;
    ending.status = WIFSIGNALED(status) ? -WTERMSIG(status) : WEXITSTATUS(status);
    return ending;
}

Ending runProgram(const std::string& path, const Arguments& arguments, const std::string& folder) {
    return Program(path, arguments, folder).wait();
}

TestFolder::TestFolder() {
    std::string pattern = (std::filesystem::temp_directory_path() / "rynvel.XXXXXX").string();
    EXPECT_NE(mkdtemp(pattern.data()), nullptr);
    m_path = pattern;
}

TestFolder::~TestFolder() { std::filesystem::remove_all(m_path); }

void TestFolder::store(const std::string& name, const std::string& bytes) const {
    std::ofstream(m_path + '/' + name, std::ios::binary) << bytes;
}

std::string TestFolder::load(const std::string& name) const {
    std::ostringstream text;
    text << std::ifstream(m_path + '/' + name, std::ios::binary).rdbuf();
    return text.str();
}

std::string withoutTimes(const std::string& text) {
    std::string result = text;
    for (std::size_t place = 0; place + timePattern.size() <= result.size(); ++place) {
        if (isTime(result.substr(place, timePattern.size()))) {
            result.replace(place, timePattern.size(), "TIME");
        }
    }
    return result;
}

} // namespace RynvelTest
