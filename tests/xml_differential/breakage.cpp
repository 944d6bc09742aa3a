#include "tests/xml_differential/breakage.h"

#include <string_view>

namespace vesk::test {
namespace {

using namespace std::string_view_literals;

constexpr std::string_view faults[] = {"<"sv,
                                       "&"sv,
                                       "&nothing;"sv,
                                       "&nothing"sv,
                                       "&#0;"sv,
                                       "&#xFFFF;"sv,
                                       "&#x110000;"sv,
                                       "&#;"sv,
                                       "&#xD800;"sv,
                                       "]]>"sv,
                                       "<!--"sv,
                                       "<!-- -- -->"sv,
                                       "-->"sv,
                                       "<![CDATA["sv,
                                       "</"sv,
                                       "</config>"sv,
                                       "<user>"sv,
                                       "</user>"sv,
                                       "<?"sv,
                                       "<?xml version=\"1.0\"?>"sv,
                                       "<!DOCTYPE config>"sv,
                                       "\0"sv,
                                       "\x01"sv,
                                       "\x0B"sv,
                                       "\x80"sv,
                                       "\xC3"sv,
                                       "\xFF"sv,
                                       "\xE2\x82"sv,
                                       "\xED\xA0\x80"sv,
                                       "\xEF\xBF\xBF"sv,
                                       "\xC0\x80"sv,
                                       "\xF4\x90\x80\x80"sv,
                                       "<1/>"sv,
                                       "<a b/>"sv,
                                       "<a b=c/>"sv,
                                       "<a b='1' b='2'/>"sv,
                                       "<a b='<'/>"sv,
                                       "<a b='1'c='2'/>"sv,
                                       "\""sv,
                                       "'"sv,
                                       "%"sv,
                                       "<!ENTITY e 'e'>"sv,
                                       "<a></b>"sv,
                                       "< a/>"sv};

constexpr std::string_view junk[] = {"x"sv,
                                     "<config/>"sv,
                                     "<user><login>second root</login></user>"sv,
                                     "&amp;"sv,
                                     "<![CDATA[x]]>"sv,
                                     "</config>"sv,
                                     "<!--"sv,
                                     "<?x"sv,
                                     "\0"sv,
                                     "\n\n\xFF"sv,
                                     "<!DOCTYPE config>"sv,
                                     "<!-- -- -->"sv};

void replace_last(std::string &text, std::string_view old, std::string_view fresh)
{
    const size_t at = text.rfind(old);
    if (at != text.npos) text.replace(at, old.size(), fresh);
}

/** A place anywhere, or in the last bytes: what comes before a late fault must not be loaded. */
size_t random_place(dice &die, const std::string &text)
{
    if (text.empty()) return 0;
    if (die.percent(60)) return die.below(text.size() + 1);
    constexpr size_t late = 30;
    return text.size() - die.below(text.size() < late ? text.size() : late);
}

/** The end of some markup or text: a document cut there is whole up to it. */
size_t random_seam(dice &die, const std::string &text)
{
    const size_t at = text.find_first_of("<>\"'&;=/", random_place(die, text));
    return at == text.npos ? text.size() : at + die.below(2);
}

std::string tag_with_attributes(unsigned count)
{
    std::string tag = "<radio";
    for (unsigned i = 0; i < count; ++i)
        tag += " a" + std::to_string(i) + "=\"\"";
    return tag + " name=\"many\"/>";
}

/** Swaps, removes or doubles a stretch. */
void shuffle(dice &die, std::string &text)
{
    const size_t from = random_place(die, text);
    const std::string stretch = text.substr(from, die.below(60));
    if (die.percent(60)) text.erase(from, stretch.size());
    if (die.percent(60)) text.insert(random_place(die, text), stretch);
}

void change_byte(dice &die, std::string &text)
{
    if (text.empty()) return;
    const size_t at = random_place(die, text) % text.size();
    if (die.percent(50))
        text[at] = static_cast<char>(die.below(256));
    else
        text.erase(at, 1);
}

void break_once(dice &die, std::string &text)
{
    switch (die.below(12)) {
    case 0:
        return text.resize(random_place(die, text));
    case 1:
        return text.resize(random_seam(die, text));
    case 2:
    case 3:
        text.insert(random_place(die, text), die.among(faults));
        return;
    case 4:
        text.insert(random_seam(die, text), die.among(faults));
        return;
    case 5:
        text += die.among(junk);
        return;
    case 6: // the latest place there is
        return replace_last(text, "</config>", std::string{die.among(faults)} + "</config>");
    case 7:
        return replace_last(text, "config>", die.percent(50) ? "confi>" : "Config>");
    case 8: {
        const size_t at = text.find("<config");
        if (at != text.npos) text.replace(at + 1, 6, die.percent(50) ? "configs" : "radio");
        return replace_last(text, "</config>", die.percent(50) ? "</configs>" : "</radio>");
    }
    case 9:
        return replace_last(text, "</config>",
                            tag_with_attributes(die.between(60, 66)) + "</config>");
    case 10:
        return shuffle(die, text);
    default:
        change_byte(die, text);
    }
}

} // namespace

std::string broken(dice &die, std::string document)
{
    break_once(die, document);
    if (die.percent(10)) break_once(die, document);
    return document;
}

} // namespace vesk::test
