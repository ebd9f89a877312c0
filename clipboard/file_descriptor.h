#pragma once

#include <unistd.h>

#include <utility>

namespace sorrelwind {

/// An open file descriptor, closed with this object; -1 stands for none.
class FileDescriptor {
public:
    FileDescriptor() = default;
    explicit FileDescriptor(int number) : m_number(number) {}
    FileDescriptor(FileDescriptor&& other) noexcept : m_number(std::exchange(other.m_number, -1)) {}
    FileDescriptor& operator=(FileDescriptor&& other) noexcept {
        std::swap(m_number, other.m_number);
        return *this;
    }
    ~FileDescriptor() { reset(); }

    [[nodiscard]] int get() const { return m_number; }
    void reset() {
        if (m_number >= 0) {
            ::close(std::exchange(m_number, -1));
        }
    }

private:
    int m_number = -1;
};

} // namespace sorrelwind
