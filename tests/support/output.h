#ifndef VESK_TESTS_SUPPORT_OUTPUT_H
#define VESK_TESTS_SUPPORT_OUTPUT_H

#include <cstdio>
#include <fcntl.h>
#include <string>
#include <unistd.h>

namespace vesk::test {

/** What action, or a child of it, writes to descriptor fd: 1 or 2. */
template <typename Action> std::string written_to(int fd, Action &&action)
{
    std::fflush(nullptr);
    std::FILE *file = std::tmpfile();
    const int before = fcntl(fd, F_DUPFD_CLOEXEC, 3);
    dup2(fileno(file), fd);
    action();
    std::fflush(nullptr);
    dup2(before, fd);
    close(before);

    std::string text;
    std::rewind(file);
    for (int byte = std::getc(file); byte != EOF; byte = std::getc(file))
        text += static_cast<char>(byte);
    std::fclose(file);
    return text;
}

/** What action writes to standard error. */
template <typename Action> std::string complained(Action &&action)
{
    return written_to(2, action);
}

/** The text with the 24 characters of each "[Sat Nov 21 09:00:00 2026] " replaced by "time". */
inline std::string without_times(const std::string &text)
{
    constexpr size_t length = 24;
    std::string result;
    for (size_t at = 0; at < text.size(); ++at) {
        const bool is_time = text[at] == '[' && at + length + 2 < text.size() &&
                             text.compare(at + length + 1, 2, "] ") == 0;
        result += text[at];
        if (!is_time) continue;
        result += "time";
        at += length;
    }
    return result;
}

} // namespace vesk::test

#endif
