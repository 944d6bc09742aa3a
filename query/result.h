#ifndef VESK_QUERY_RESULT_H
#define VESK_QUERY_RESULT_H

#include <string>
#include <string_view>

namespace vesk {

/**
 * A result document, written as text from front to back, in the very form in which libxml2 writes
 * it. Throws std::bad_alloc, also when it would be longer than any answer may be.
 */
class result {
  public:
    void error(std::string_view message);
    void counts(unsigned errors, unsigned touched);

    void begin_dataset();
    void end_dataset();
    void begin_instance(std::string_view class_name, const char *name);
    void end_instance(std::string_view class_name);
    /** A null value gives an empty element. */
    void property(std::string_view class_name, const char *name, const char *value);

    /** The finished document. */
    std::string text() const;

  private:
    void open(std::string_view name);
    void close(std::string_view name);
    void element(std::string_view name, std::string_view content);
    void check_size() const;

    std::string body_;
    size_t opened_ = 0; // where the content of the innermost open element begins
};

} // namespace vesk

#endif
