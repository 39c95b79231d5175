#pragma once

// A file descriptor with one owner.

#include <utility>

#include <unistd.h>

namespace hostcam {

class Descriptor {
  public:
    Descriptor() = default;
    explicit Descriptor(int fd) : m_fd(fd) {}
    ~Descriptor() { reset(); }
    Descriptor(Descriptor&& other) noexcept : m_fd(std::exchange(other.m_fd, -1)) {}
    Descriptor& operator=(Descriptor&& other) noexcept {
        if (this != &other) {
            reset();
            m_fd = std::exchange(other.m_fd, -1);
        }
        return *this;
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;

    [[nodiscard]] int get() const { return m_fd; }
    [[nodiscard]] explicit operator bool() const { return m_fd >= 0; }

  private:
    void reset() {
        if (m_fd >= 0) {
            close(m_fd);
        }
        m_fd = -1;
    }

    int m_fd = -1;
};

} // namespace hostcam
