#ifndef VESK_BASE_XML_TEXT_H
#define VESK_BASE_XML_TEXT_H

#include <string>
#include <string_view>

namespace vesk {

/**
 * Each appends value as element text or as attribute value, exactly as libxml2 writes it into a
 * document without an encoding: plain ASCII with references for everything else. A byte that XML
 * 1.0 cannot hold becomes U+FFFD; the result says whether there was one.
 */
bool append_text(std::string &out, std::string_view value);
bool append_attribute(std::string &out, std::string_view value);

/** What stands around an element in its document. */
struct element_layout {
    std::string_view before;
    std::string_view behind;
};

/** Appends an element that holds value as its text, or one tag for an empty value. */
bool append_element(std::string &out, std::string_view name, std::string_view value,
                    const element_layout &layout = {});

/** What value reads back as once it was written: the same, with U+FFFD for what XML cannot hold. */
std::string readable_back(std::string_view value);
bool reads_back_as(std::string_view value, std::string_view text);

} // namespace vesk

#endif
