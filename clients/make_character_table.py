#!/usr/bin/env python3
"""Prints character_table.h: which characters of Unicode take no column of a terminal, which take two,
and which are not to reach it at all.

    clients/make_character_table.py > clients/character_table.h && clang-format -i clients/character_table.h
"""

import unicodedata

JOINERS = {0x200C, 0x200D}  # within words of many scripts, and within emoji
HANGUL_PARTS = range(0x1160, 0x1200)  # vowels and finals: drawn into the syllable before them


def is_hidden(code):
    category = unicodedata.category(chr(code))
    return category in ("Cc", "Cf", "Zl", "Zp") and code not in JOINERS


def is_combining(code):
    return (unicodedata.category(chr(code)) in ("Mn", "Me") or code in JOINERS
            or code in HANGUL_PARTS)


def is_wide(code):
    return unicodedata.east_asian_width(chr(code)) in "WF" and not is_combining(code)


def ranges(belongs):
    found = []
    for code in range(0x80, 0x110000):
        if not belongs(code):
            continue
        if found and found[-1][1] == code - 1:
            found[-1][1] = code
        else:
            found.append([code, code])
    return found


def table(name, comment, belongs):
    entries = ", ".join(f"{{0x{first:X}, 0x{last:X}}}" for first, last in ranges(belongs))
    return f"/** {comment} */\nconstexpr character_range {name}[] = {{{entries}}};\n"


print(f"""#ifndef VESK_CLIENTS_CHARACTER_TABLE_H
#define VESK_CLIENTS_CHARACTER_TABLE_H

// Made by make_character_table.py from Unicode {unicodedata.unidata_version}; in order, nothing below U+0080.

namespace vesk::client {{

struct character_range {{
    char32_t first;
    char32_t last;
}};

{table("hidden_characters", "Control and format characters: a terminal may obey them.", is_hidden)}
{table("combining_characters", "Drawn over the character before them.", is_combining)}
{table("wide_characters", "Two columns each.", is_wide)}
}} // namespace vesk::client

#endif""")
