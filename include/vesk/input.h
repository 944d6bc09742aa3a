#ifndef VESK_INPUT_H
#define VESK_INPUT_H

#include <stdint.h>

#include "vesk/export.h"

VESK_BEGIN_DECLS

/*
 * Validators: pure functions that decide whether a text is an acceptable value. A plug-in wraps
 * those it uses in the is_valid functions of its properties: static int is_word(const char *value)
 * { return vesk_input_is_word(value, (int)strlen(value)); }
 *
 * Only the first length bytes of value are looked at; it need not end in NUL, except where said.
 * The result is 1 for valid, 0 for invalid; a null value is invalid. Nothing is logged. Characters
 * compare as signed 8-bit values, so that a byte of 0x80 and above is in no range used here.
 * Numbers are 32 bits wide on every machine.
 */

/** Character codes or integers, in the order of adding; they may repeat. */
typedef struct vesk_input_set {
    int32_t *entries;
    int32_t count;
} vesk_input_set;

/** New set of count characters. Null without memory. Freed with vesk_input_free_set(). */
VESK_API vesk_input_set *vesk_input_new_string_set(const char *characters, int32_t count);

/** New set of previous's entries (may be null; it is not freed), then low to high. Null as above.
 */
VESK_API vesk_input_set *vesk_input_get_set_from_range(signed char low, signed char high,
                                                       const vesk_input_set *previous);

/** Frees a set. Ignores null. */
VESK_API void vesk_input_free_set(vesk_input_set *set);

/* Strings */

/** Every byte is in the set; the empty text is valid. */
VESK_API int vesk_input_is_string_in_set(const char *value, int32_t length,
                                         const vesk_input_set *set);

/** Every byte lies in low to high. */
VESK_API int vesk_input_is_string_in_range(const char *value, int32_t length, signed char low,
                                           signed char high);

/** Every byte lies in one of the ranges: pairs is low, high, low, high...; count counts the pairs.
 */
VESK_API int vesk_input_is_string_in_ranges(const char *value, int32_t length, const char *pairs,
                                            int32_t count);

/** Letters, digits, "-" and "'"; may be empty. */
VESK_API int vesk_input_is_word(const char *value, int32_t length);

/** Printable ASCII; may be empty. */
VESK_API int vesk_input_is_phrase(const char *value, int32_t length);

/** Printable ASCII, 8 to 63 bytes or none. */
VESK_API int vesk_input_is_passphrase(const char *value, int32_t length);

/** Exactly one of the texts; the list ends in null. */
VESK_API int vesk_input_is_string_in_array(const char *value, int32_t length,
                                           const char *const *texts);

/** "yes" or "no". */
VESK_API int vesk_input_is_yes_no(const char *value, int32_t length);

/** "on" or "off". */
VESK_API int vesk_input_is_on_off(const char *value, int32_t length);

/** "up" or "down". */
VESK_API int vesk_input_is_up_down(const char *value, int32_t length);

/** At most 16 bytes of anything. */
VESK_API int vesk_input_is_interface(const char *value, int32_t length);

/*
 * Numbers. An integer may have leading white space, one sign and leading zeros, and nothing behind
 * it. As with strtol(), a number out of range sets errno to ERANGE; errno is not cleared before, so
 * that one of the two extreme values is refused while errno holds ERANGE from elsewhere.
 */

VESK_API int vesk_input_is_int(const char *value, int32_t length);
VESK_API int vesk_input_is_int_in_set(const char *value, int32_t length, const vesk_input_set *set);
VESK_API int vesk_input_is_positive_int(const char *value, int32_t length);
VESK_API int vesk_input_is_zero(const char *value, int32_t length);
VESK_API int vesk_input_is_non_negative_int(const char *value, int32_t length);

/** Whatever is no non-negative integer: texts that are no number included. */
VESK_API int vesk_input_is_negative_int(const char *value, int32_t length);

VESK_API int vesk_input_is_int_in_range(const char *value, int32_t length, int32_t minimum,
                                        int32_t maximum);

/** 0 to 100. */
VESK_API int vesk_input_is_percent(const char *value, int32_t length);

VESK_API int vesk_input_is_even(const char *value, int32_t length);

/** A number as strtod() takes it; the empty text is 0. */
VESK_API int vesk_input_is_double_in_range(const char *value, int32_t length, double minimum,
                                           double maximum);

/* Addresses and names */

/** Six pairs of hexadecimal digits with ":" between. */
VESK_API int vesk_input_is_mac(const char *value, int32_t length);

/** Four integers of 0 to 255 with "." between. The text must end in NUL. */
VESK_API int vesk_input_is_ip(const char *value, int32_t length);

/**
 * An IPv6 address, not loopback, link-local, multicast, IPv4-compatible or IPv4-mapped. The text
 * must end in NUL; length is not used.
 */
VESK_API int vesk_input_is_ipv6(const char *value, int32_t length);

/** 1 to 63 letters, digits and inner "-". */
VESK_API int vesk_input_is_domain_label(const char *value, int32_t length);

/**
 * Labels of 2 to 64 bytes with "." between, at most 253 bytes, a last "." aside. The last character
 * of each label is not examined. The text must end in NUL.
 */
VESK_API int vesk_input_is_domain_name(const char *value, int32_t length);

VESK_API int vesk_input_is_ip_or_domain_name(const char *value, int32_t length);

/* Wireless. domain is the index of a regulatory domain, 0 to 2; any other is refused. */

/** 1 to 32 bytes of anything. */
VESK_API int vesk_input_is_ssid(const char *value, int32_t length);

/** "a", "bg", "a-n", "bg-n", "n-only-a" or "n-only-g". */
VESK_API int vesk_input_is_mode(const char *value, int32_t length);

VESK_API int vesk_input_is_a_channel(const char *value, int32_t length, int32_t domain);
VESK_API int vesk_input_is_b_channel(const char *value, int32_t length, int32_t domain);
VESK_API int vesk_input_is_g_channel(const char *value, int32_t length, int32_t domain);

/** A channel of the band "a", "b" or "g". */
VESK_API int vesk_input_is_channel(const char *value, int32_t length, const char *band,
                                   int32_t domain);

/** Rates in Mbit/s. */
VESK_API int vesk_input_is_a_rate(const char *value, int32_t length);
VESK_API int vesk_input_is_b_rate(const char *value, int32_t length);
VESK_API int vesk_input_is_g_rate(const char *value, int32_t length);

/** Printable ASCII, 8 to 63 bytes. */
VESK_API int vesk_input_is_wpa_psk_key(const char *value, int32_t length);

/** A key of 40, 104 or 128 bits: bits / 8 printable characters (text not 0), or bits / 4 hex
 * digits. */
VESK_API int vesk_input_is_wep_key(const char *value, int32_t length, int32_t bits, int32_t text);

/** "40", "104" or "128". */
VESK_API int vesk_input_is_wep_key_length(const char *value, int32_t length);

VESK_END_DECLS

#endif
