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
        switch (state_) {
        case within::text:
            at = piece.find('<', at);
            if (at == piece.npos) return;
            state_ = within::opening;
            if (++at == piece.size()) return;
            [[fallthrough]];
        case within::opening:
            open(piece[at]);
            break;
        case within::tag:
            at = skip_in_tag(piece, at);
            if (at == piece.size()) return;
            go_on_in_tag(piece[at]);
            break;
        case within::quotes:
            at = piece.find(quote_, at);
            if (at == piece.npos) return;
            state_ = within::tag;
            break;
        case within::declaration:
            go_on_in_declaration(piece[at]);
            break;
        case within::comment:
            leave_after(piece[at], '-', 2);
            break;
        case within::cdata:
            leave_after(piece[at], ']', 2);
            break;
        case within::instruction:
            leave_after(piece[at], '?', 1);
            break;
        }
    }
}

void xml_tag_limits::open(char c)
{
    matched_ = 0;
    in_tag_ = 0;
    state_ = c == '?'   ? within::instruction
             : c == '!' ? within::declaration
             : c == '/' ? within::text // an end tag holds no "<", as text does not
                        : within::tag;
    if (state_ == within::tag) go_on_in_tag(c);
}

/** The next place in a tag that matters. */
size_t xml_tag_limits::skip_in_tag(std::string_view piece, size_t at) const
{
    if (matched_ > 0) return at;
    const auto matters = [](char c) {
        return c == '>' || c == '"' || c == '\'' || c == namespace_attribute.front();
    };
    while (at < piece.size() && !matters(piece[at]))
        ++at;
    return at;
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
