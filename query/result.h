#ifndef VESK_QUERY_RESULT_H
#define VESK_QUERY_RESULT_H

#include <string>
#include <string_view>

namespace vesk {

/**
 * A result document, written behind whatever a text holds already, from front to back, in the very
 * form in which libxml2 writes it. Throws std::bad_alloc, also when it would be longer than any
 * answer may be.
 */
class result {
  public:
    explicit result(std::string &out);

    /** Begins anew. */
    void restart();

    void error(std::string_view message);
    void counts(unsigned errors, unsigned touched);

    void begin_dataset();
    void end_dataset();
    void begin_instance(std::string_view class_name, const char *name);
    void end_instance(std::string_view class_name);
    /** A null value gives an empty element. */
    void property(std::string_view class_name, std::string_view name, const char *value);

    /** Completes the document. There is room for one more byte behind it, for whoever sends it. */
    void finish();

    /** The document. */
    std::string_view text() const { return std::string_view{out_}.substr(start_); }

  private:
    void open(std::string_view name);
    void close(std::string_view name);
    void element(std::string_view name, std::string_view content);
    void check_size() const;

    std::string &out_;
    size_t start_;      // of the document
    size_t body_;       // of what is in its root
    size_t opened_ = 0; // where the content of the innermost open element begins
};

} // namespace vesk

#endif
