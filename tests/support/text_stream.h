#ifndef VESK_TESTS_SUPPORT_TEXT_STREAM_H
#define VESK_TESTS_SUPPORT_TEXT_STREAM_H

#include <cstdio>
#include <memory>
#include <string>

namespace vesk::test {

/** A stream that writes to the end of a string, which others may write to as well. */
class text_stream {
  public:
    explicit text_stream(std::string &text) : file_{open(text)} {}

    std::FILE *file() const { return file_.get(); }

    /** Print on this, then flush it. */
    template <typename Print> void write(Print &&print)
    {
        print(file());
        std::fflush(file());
    }

  private:
    struct close_file {
        void operator()(std::FILE *file) const { std::fclose(file); }
    };

    static ssize_t append(void *text, const char *bytes, size_t size)
    {
        static_cast<std::string *>(text)->append(bytes, size);
        return static_cast<ssize_t>(size);
    }

    static std::FILE *open(std::string &text)
    {
        cookie_io_functions_t functions{};
        functions.write = append;
        return fopencookie(&text, "w", functions);
    }

    std::unique_ptr<std::FILE, close_file> file_;
};

} // namespace vesk::test

#endif
