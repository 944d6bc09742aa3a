#include "config/contents.h"

#include <algorithm>
#include <cstring>

// An instance is kept as: its length; the number of its class name; the attribute; then for each
// value the number of its name and the text. A text is a mark and, unless the mark says that there
// is none, the bytes and a NUL.

namespace vesk {
namespace {

/** The first one for small files; all small enough to go back into what instances are made of. */
constexpr size_t first_chunk_size = size_t{16} * 1024;
constexpr size_t chunk_size = size_t{64} * 1024;

constexpr char no_text = 'n';
constexpr char has_text = 't';

void append_number(std::string &out, uint32_t number)
{
    char bytes[sizeof number];
    std::memcpy(bytes, &number, sizeof number);
    out.append(bytes, sizeof bytes);
}

uint32_t take_number(const char *&at)
{
    uint32_t number;
    std::memcpy(&number, at, sizeof number);
    at += sizeof number;
    return number;
}

const char *take_text(const char *&at)
{
    if (*at++ == no_text) return nullptr;
    const char *text = at;
    at += std::strlen(text) + 1;
    return text;
}

} // namespace

void config_contents::begin_element(const char *name, const char *name_attribute)
{
    ++depth_;
    if (depth_ == 1) {
        root_ = name;
    } else if (depth_ == 2) {
        instance_.clear();
        append_number(instance_, 0); // the length, once it is known
        append_number(instance_, number_of(name));
        instance_ += name_attribute ? has_text : no_text;
        if (name_attribute) instance_.append(name_attribute, std::strlen(name_attribute) + 1);
    } else if (depth_ == 3) {
        append_number(instance_, number_of(name));
        text_at_ = instance_.size();
        instance_ += no_text;
        content_ = content::nothing;
    } else {
        content_ = content::over;
    }
}

void config_contents::end_element()
{
    if (depth_ == 3) end_value();
    if (depth_ == 2) store_instance();
    --depth_;
}

void config_contents::text(std::string_view piece)
{
    if (depth_ != 3 || content_ == content::over) return;
    if (content_ == content::cdata) {
        content_ = content::over;
        return;
    }
    content_ = content::text;
    instance_ += piece;
    instance_[text_at_] = has_text;
}

void config_contents::cdata(std::string_view piece)
{
    if (depth_ != 3 || content_ == content::over) return;
    if (content_ == content::text) {
        content_ = content::over;
        return;
    }
    // One right behind another is the same node.
    content_ = content::cdata;
    instance_ += piece;
    instance_[text_at_] = has_text;
}

void config_contents::other_node()
{
    if (depth_ == 3) content_ = content::over;
}

bool config_contents::take(instance_element &element)
{
    while (chunks_.size() > 1 && taken_ == chunks_.front().used) {
        chunks_.pop_front();
        taken_ = 0;
    }
    if (chunks_.empty()) return false;
    if (taken_ == chunks_.front().used) {
        taken_ = chunks_.front().used = 0; // for what is still to come
        return false;
    }
    const char *at = chunks_.front().bytes.get() + taken_;
    const char *end = at;
    const uint32_t length = take_number(at);
    end += length;
    taken_ += length;
    element.class_name = take_number(at);
    element.name = take_text(at);
    element.values.clear();
    element.text_bytes = 0;
    while (at < end) {
        const uint32_t name = take_number(at);
        const char *text = take_text(at);
        element.values.push_back({name, text});
        element.text_bytes += (text ? std::strlen(text) : 0) + 1;
    }
    return true;
}

uint32_t config_contents::number_of(const char *name)
{
    // The parser mostly hands out one and the same text for all elements of a name.
    const auto address = static_cast<uint32_t>(reinterpret_cast<uintptr_t>(name));
    uint32_t &recent = recent_[(address * 0x9E3779B1U) >> 24];
    if (recent >= names_.size() || std::strcmp(names_[recent]->c_str(), name) != 0)
        recent = look_up(name);
    return recent;
}

uint32_t config_contents::look_up(const char *name)
{
    const auto known = numbers_.find(name);
    if (known != numbers_.end()) return known->second;
    const auto number = static_cast<uint32_t>(names_.size());
    names_.push_back(nullptr);
    names_.back() = &numbers_.emplace(name, number).first->first;
    return number;
}

void config_contents::end_value()
{
    if (instance_[text_at_] == has_text) instance_ += '\0';
}

void config_contents::store_instance()
{
    const auto length = static_cast<uint32_t>(instance_.size());
    std::memcpy(instance_.data(), &length, sizeof length);
    if (chunks_.empty() || chunks_.back().size - chunks_.back().used < length) {
        const size_t usual = chunks_.empty() ? first_chunk_size : chunk_size;
        const size_t size = std::max<size_t>(usual, length);
        chunks_.push_back({std::make_unique_for_overwrite<char[]>(size), 0, size});
    }
    chunk &last = chunks_.back();
    std::memcpy(last.bytes.get() + last.used, instance_.data(), length);
    last.used += length;
}

} // namespace vesk
