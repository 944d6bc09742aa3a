#ifndef VESK_QUERY_ORIGIN_H
#define VESK_QUERY_ORIGIN_H

#include <memory>

namespace vesk {

/** Makes text (null: none) the origin. Throws std::bad_alloc. */
void set_origin(const char *text);

/** Puts the origin of an outer request back, the very same string, when an inner one ends. */
class keep_origin {
  public:
    keep_origin();
    ~keep_origin();
    keep_origin(const keep_origin &) = delete;
    keep_origin &operator=(const keep_origin &) = delete;

  private:
    std::unique_ptr<char[]> outer_;
};

} // namespace vesk

#endif
