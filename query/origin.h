#ifndef VESK_QUERY_ORIGIN_H
#define VESK_QUERY_ORIGIN_H

#include <optional>
#include <string>

namespace vesk {

/** The origin of the request being served, behind vesk_query_origin. */
const std::optional<std::string> &origin();

/** Makes text (null: none) the origin. Throws std::bad_alloc. */
void set_origin(const char *text);

/** Puts the origin of an outer request back when an inner one ends. */
class keep_origin {
  public:
    keep_origin();
    ~keep_origin();
    keep_origin(const keep_origin &) = delete;
    keep_origin &operator=(const keep_origin &) = delete;

  private:
    std::optional<std::string> outer_;
};

} // namespace vesk

#endif
