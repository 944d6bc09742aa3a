#include "base/xml_limits.h"

#include <algorithm>

#include "base/xml.h"

namespace vesk {
namespace {

constexpr std::string_view namespace_attribute = "xmlns";
constexpr std::string_view cdata_opening = "[CDATA[";

} // namespace

bool xml_tag_limits::has_few_attributes() const
{
    return most_ <= max_attributes;
}

bool xml_tag_limits::has_few_namespaces() const
{
    return namespaces_ <= max_namespaces;
}

void xml_tag_limits::look_at(std::string_view piece)
{
    for (size_t at = 0; at < piece.size(); ++at) {
        const char awaited = state_ == within::text      ? '<'
                             : state_ == within::quotes  ? quote_
                             : state_ == within::end_tag ? '>'
                                                         : '\0';
        if (awaited) {
            at = piece.find(awaited, at);
            if (at == piece.npos) return;
        }
        go_on(piece[at]);
    }
}

void xml_tag_limits::go_on(char c)
{
    switch (state_) {
    case within::text:
        state_ = within::opening;
        break;
    case within::opening:
        matched_ = 0;
        in_tag_ = 0;
        state_ = c == '?'   ? within::instruction
                 : c == '!' ? within::declaration
                 : c == '/' ? within::end_tag
                            : within::tag;
        if (state_ == within::tag) go_on_in_tag(c);
        break;
    case within::declaration:
        go_on_in_declaration(c);
        break;
    case within::tag:
        go_on_in_tag(c);
        break;
    case within::end_tag:
        state_ = within::text;
        break;
    case within::quotes:
        state_ = within::tag;
        break;
    case within::comment:
        leave_after(c, '-', 2);
        break;
    case within::cdata:
        leave_after(c, ']', 2);
        break;
    case within::instruction:
        leave_after(c, '?', 1);
        break;
    }
}

void xml_tag_limits::go_on_in_tag(char c)
{
    if (c == '>') {
        state_ = within::text;
    } else if (c == '"' || c == '\'') {
        most_ = std::max(most_, ++in_tag_);
        quote_ = c;
        state_ = within::quotes;
        matched_ = 0;
    } else if (c == namespace_attribute[matched_]) {
        if (++matched_ < namespace_attribute.size()) return;
        ++namespaces_;
        matched_ = 0;
    } else {
        matched_ = c == namespace_attribute.front() ? 1 : 0;
    }
}

/** After "<!" comes a comment, CDATA or, for all that matters here, a tag. */
void xml_tag_limits::go_on_in_declaration(char c)
{
    if (matched_ == 0 && c == '-') {
        matched_ = cdata_opening.size(); // waits for the second one
    } else if (matched_ == cdata_opening.size() && c == '-') {
        state_ = within::comment;
        matched_ = 0;
    } else if (matched_ < cdata_opening.size() && c == cdata_opening[matched_]) {
        if (++matched_ < cdata_opening.size()) return;
        state_ = within::cdata;
        matched_ = 0;
    } else {
        state_ = within::tag;
        matched_ = 0;
        go_on_in_tag(c);
    }
}

/** Markup that ends in so many closing characters, or more, and ">". */
void xml_tag_limits::leave_after(char c, char closing, unsigned needed)
{
    if (c == '>' && matched_ >= needed)
        state_ = within::text;
    else
        matched_ = c == closing ? matched_ + 1 : 0;
}

} // namespace vesk
