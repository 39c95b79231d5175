#pragma once

// A program that answers each line on its input with a line on its output.

#include <cstdio>
#include <stdexcept>
#include <string>

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace bench {

class WorkerProcess {
  public:
    /// @throws std::runtime_error when it cannot be started
    explicit WorkerProcess(const std::string& program) {
        int requests[2];
        int answers[2];
        if (pipe2(requests, O_CLOEXEC) != 0 || pipe2(answers, O_CLOEXEC) != 0) {
            throw std::runtime_error("there is no pipe for " + program);
        }
        m_pid = fork();
        if (m_pid == 0) {
            dup2(requests[0], STDIN_FILENO);
            dup2(answers[1], STDOUT_FILENO);
            execl(program.c_str(), program.c_str(), static_cast<char*>(nullptr));
            _exit(127);
        }
        close(requests[0]);
        close(answers[1]);
        m_requests = fdopen(requests[1], "w");
        m_answers = fdopen(answers[0], "r");
        if (m_pid < 0 || m_requests == nullptr || m_answers == nullptr) {
            throw std::runtime_error(program + " cannot be started");
        }
    }

    ~WorkerProcess() {
        std::fclose(m_requests); // it ends with its input
        std::fclose(m_answers);
        waitpid(m_pid, nullptr, 0);
    }
    WorkerProcess(const WorkerProcess&) = delete;
    WorkerProcess& operator=(const WorkerProcess&) = delete;

    /// @throws std::runtime_error when it does not answer
    std::string ask(const std::string& line) {
        std::fprintf(m_requests, "%s\n", line.c_str());
        std::fflush(m_requests);
        char answer[256];
        if (std::fgets(answer, sizeof(answer), m_answers) == nullptr) {
            throw std::runtime_error("no answer to: " + line);
        }
        return answer;
    }

  private:
    pid_t m_pid = -1;
    FILE* m_requests = nullptr;
    FILE* m_answers = nullptr;
};

} // namespace bench
