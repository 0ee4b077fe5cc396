// Running yosys: a child process with both output streams on one pipe, read to the end, then the
// exit status. On failure the lines that yosys starts with "ERROR:" are its message.
#include "prep/prep_yosys.h"

#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <sstream>

namespace {

// yosys splits its script at blanks and semicolons; such names are refused, not quoted.
bool fits_script(const std::string& name) {
    return !name.empty() && name.find_first_of(" \t\n;\"'") == std::string::npos;
}

std::string message_of(const std::string& output, int status) {
    std::istringstream lines(output);
    std::string line, errors, last;
    while (std::getline(lines, line)) {
        if (line.find_first_not_of(" \t\r") == std::string::npos) continue;
        last = line;
        if (line.find("ERROR:") != std::string::npos) errors += (errors.empty() ? "" : " ") + line;
    }
    if (!errors.empty()) return errors;
    if (!last.empty()) return last;
    return "yosys ended with status " + std::to_string(status);
}

}  // namespace

bool PREP_YOSYS::script(const PREP_YOSYS_JOB& job, std::string* text) {
    m_error = UTIL::IERROR::ERROR();
    std::vector<std::string> names = job.m_libraries;
    names.insert(names.end(), job.m_sources.begin(), job.m_sources.end());
    names.push_back(job.m_json);
    if (!job.m_top.empty()) names.push_back(job.m_top);
    for (const std::string& name : names)
        if (!fits_script(name)) {
            m_error = {false, "name not usable in a yosys script: '" + name + "'"};
            return false;
        }
    std::string s;
    for (const std::string& lib : job.m_libraries) s += "read_verilog -lib " + lib + "; ";
    for (const std::string& source : job.m_sources) s += "read_verilog " + source + "; ";
    s += "hierarchy -check";
    if (!job.m_top.empty())
        s += " -top " + job.m_top;
    else if (job.m_auto_top)
        s += " -auto-top";
    s += "; write_json " + job.m_json;
    *text = s;
    return true;
}

bool PREP_YOSYS::run(const PREP_YOSYS_JOB& job) {
    std::string text;
    if (!script(job, &text)) return false;
    std::string output;
    const int status = execute({m_program, "-q", "-p", text}, job.m_directory, &output);
    if (status != 0) m_error = {false, message_of(output, status)};
    return m_error.m_ok;
}

bool PREP_YOSYS::available() {
    std::string output;
    return execute({m_program, "-V"}, "", &output) == 0;
}

int PREP_YOSYS::execute(const std::vector<std::string>& arguments, const std::string& directory,
                        std::string* output) {
    int fds[2];
    if (pipe(fds) != 0) return -1;
    const pid_t pid = fork();
    if (pid < 0) {
        close(fds[0]);
        close(fds[1]);
        return -1;
    }
    if (pid == 0) {
        dup2(fds[1], STDOUT_FILENO);
        dup2(fds[1], STDERR_FILENO);
        close(fds[0]);
        close(fds[1]);
        if (!directory.empty() && chdir(directory.c_str()) != 0) {
            const std::string failed = "cannot enter " + directory + ": " + strerror(errno) + "\n";
            if (write(STDOUT_FILENO, failed.data(), failed.size()) < 0) _exit(127);
            _exit(127);
        }
        std::vector<char*> argv;
        for (const std::string& a : arguments) argv.push_back(const_cast<char*>(a.c_str()));
        argv.push_back(nullptr);
        execvp(argv[0], argv.data());
        const std::string failed = "cannot run " + arguments[0] + ": " + strerror(errno) + "\n";
        if (write(STDOUT_FILENO, failed.data(), failed.size()) < 0) _exit(127);
        _exit(127);
    }
    close(fds[1]);
    char buffer[4096];
    ssize_t n;
    while ((n = read(fds[0], buffer, sizeof(buffer))) != 0) {
        if (n < 0 && errno == EINTR) continue;
        if (n < 0) break;
        output->append(buffer, static_cast<size_t>(n));
    }
    close(fds[0]);
    int status = 0;
    while (waitpid(pid, &status, 0) < 0 && errno == EINTR) {
    }
    if (WIFEXITED(status)) return WEXITSTATUS(status);
    return -1;
}
