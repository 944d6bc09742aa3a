#ifndef VESK_QUERY_RESULT_H
#define VESK_QUERY_RESULT_H

#include <string>
#include <string_view>

namespace vesk {

/** An element of a result that is written many times: its tags are made once. */
struct result_element {
    explicit result_element(std::string_view its_name);

    std::string name;
    std::string opening; // <name>
    std::string closing; // </name>
    std::string empty;   // <name/>
};

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
    void begin_instance(const result_element &class_element, const char *name);
    void end_instance(const result_element &class_element);
    /** A null value gives an empty element. */
    void property(std::string_view class_name, const result_element &element, const char *value);

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
