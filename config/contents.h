#ifndef VESK_CONFIG_CONTENTS_H
#define VESK_CONFIG_CONTENTS_H

#include <array>
#include <cstdint>
#include <deque>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "base/xml_stream.h"

namespace vesk {

/** A value element: its text is null when it does not begin with one. */
struct value_element {
    uint32_t name; // its number
    const char *text;
};

/** An instance element, valid until the next one is taken. */
struct instance_element {
    uint32_t class_name = 0;    // its number
    const char *name = nullptr; // the attribute; null: none
    std::vector<value_element> values;
    size_t text_bytes = 0; // of all values, each with its NUL
};

/**
 * What a configuration file says, in little more than the space of its texts: nothing of it may
 * have an effect before the file is known to be well-formed to its end. It is taken from front to
 * back, and freed as it is taken.
 */
class config_contents final : public xml_receiver {
  public:
    void begin_element(const char *name, const char *name_attribute) override;
    void end_element() override;
    void text(std::string_view piece) override;
    void cdata(std::string_view piece) override;
    void other_node() override;

    /** The name of the root element; empty while there is none. */
    const std::string &root() const { return root_; }

    /** The next instance element; false at the end. */
    bool take(instance_element &element);

    /** The name with a number. */
    const char *name_of(uint32_t number) const { return names_[number]->c_str(); }

    /** Forgets everything. */
    void clear() { *this = config_contents{}; }

  private:
    /** What the text of the value element being read is. */
    enum class content { nothing, text, cdata, over };

    struct chunk {
        std::unique_ptr<char[]> bytes;
        size_t used = 0;
        size_t size = 0;
    };

    uint32_t number_of(const char *name);
    uint32_t look_up(const char *name);
    void store_instance();
    void end_value();

    std::string root_;
    unsigned depth_ = 0;
    std::unordered_map<std::string, uint32_t> numbers_;
    std::vector<const std::string *> names_;
    std::array<uint32_t, 256> recent_{}; // numbers of names, by the address at which each was seen
    std::string instance_;               // being read
    content content_ = content::nothing;
    size_t text_at_ = 0; // in instance_
    std::deque<chunk> chunks_;
    size_t taken_ = 0; // of the first chunk
};

} // namespace vesk

#endif
