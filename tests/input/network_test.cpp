#include "vesk/input.h"

#include <arpa/inet.h>
#include <cstring>
#include <netinet/in.h>
#include <random>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/support/validator.h"

namespace {

using namespace vesk::test;

std::string label(size_t length)
{
    return std::string(length, 'x');
}

/** A domain name of labels of these lengths. */
std::string name(const std::vector<size_t> &lengths)
{
    std::string text;
    for (const size_t length : lengths)
        text += (text.empty() ? "" : ".") + label(length);
    return text;
}

TEST(InputIsMac, FollowsItsRule)
{
    const subject subject = {vesk_input_is_mac, matches("[0-9A-Fa-f]{2}(?::[0-9A-Fa-f]{2}){5}")};
    const texts accepted = {"00:1A:2b:3C:4d:5E", "00:00:00:00:00:00", "ff:ff:ff:ff:ff:ff",
                            "FF:FF:FF:FF:FF:FF", "01:23:45:67:89:ab", "AB:cd:EF:af:09:90",
                            "a0:F9:0a:9f:00:0F"};
    texts refused = words(
        "00-1A-2B-3C-4D-5E 001A2B3C4D5E 001A.2B3C.4D5E 00:1A:2B:3C:4D:5 00:1A:2B:3C:4D:5E: "
        ":00:1A:2B:3C:4D:5 00:1A:2B:3C:4D:5E:6F 00:1A:2B:3C:4D 0:01A:2B:3C:4D:5E "
        "00:1A:2B:3C:4D-5E 00:1A:2B:3C:4D:5G G0:1A:2B:3C:4D:5E :::::::::::::::::: "
        "+0:1A:2B:3C:4D:5E 0x:1A:2B:3C:4D:5E 00;1A:2B:3C:4D:5E",
        {"", "00 1A 2B 3C 4D 5E", "00:1A:2B:3C:4D:5E\0"s, "00:1A:2B\0003C:4D:5E"s,
         "00:1A:2B:3C:4D:\0005"s, "00:1A:2B:3C:4D:5 ", " 0:1A:2B:3C:4D:5E", std::string(17, '0'),
         std::string(17, ':'), std::string(17, '\0'), "00:1A:2B:3C:4D:5\xff"});
    for (size_t at = 0; at < 17; ++at)
        for (const char wrong : {'\0', '/', '@', '`', 'g', '-', '\xb0'}) {
            refused.push_back("00:1A:2b:3C:4d:5E");
            refused.back()[at] = wrong;
        }
    expect_rule(subject, accepted, refused, "0123456789abcdefABCDEF::::");
}

TEST(InputIsMac, AcceptsColonsAndNoOtherSeparator)
{
    EXPECT_EQ(vesk_input_is_mac("00:1A:2b:3C:4d:5E", 17), 1);
    EXPECT_EQ(vesk_input_is_mac("00-1A-2B-3C-4D-5E", 17), 0);
    EXPECT_EQ(vesk_input_is_mac("001A2B3C4D5E", 12), 0);
    EXPECT_EQ(vesk_input_is_mac("00:1A:2b:3C:4d:5E", 16), 0);
}

/** Written as usual, it is one that inet_pton() takes. */
bool is_ip(const std::string &text)
{
    static const std::string number = "[ \\t\\n\\v\\f\\r]*(?:\\+?0*([0-9]{1,3})|-0+)";
    static const std::regex form{number + "\\." + number + "\\." + number + "\\." + number};
    std::smatch match;
    if (text.size() < 7 || text.size() > 15 || !std::regex_match(text, match, form)) return false;
    std::string usual;
    for (size_t i = 1; i <= 4; ++i)
        usual += (i > 1 ? "." : "") + (match[i].matched ? match[i].str() : "0");
    in_addr address;
    return inet_pton(AF_INET, usual.c_str(), &address) == 1;
}

/** What may follow a text that ends in NUL. */
const texts before_nul = {"\0"s, "0\0"s, ".1\0"s, "ab.cd.\0"s};

const texts ips = {
    "0.0.0.0",        "255.255.255.255", "1.2.3.4",  "192.168.0.1", "10.0.0.255", "127.0.0.1",
    "010.0.0.1",      "+1.2.3.4",        "1.+2.3.4", " 1.2.3.4",    "1. 2. 3. 4", "001.002.003.004",
    "1.2.3.0004",     "-0.0.0.0",        "0.0.0.-0", "0.-00.0.0",   "1.2.3.\t4",  "1.2.3.\n04",
    "00000000.0.0.0", "000000000.0.0.0", "224.0.0.1"};
const texts no_ips = words(
    "1.2.3 256.1.1.1 1.256.1.1 1.1.256.1 1.1.1.256 999.1.1.1 1.2.3.4.5 1.2.3.4. .1.2.3.4 1..2.3.4 "
    "1.2..3.4 1.2.3..4 ... ....... 1.2.3. 0x1.2.3.4 1.2.3.a a.b.c.d -1.2.3.4 1.-2.3.4 1.2.3.-4 "
    "1,2,3,4 1.2,3.4.5 255.255.255.2555 0255.255.255.255 0000000000.0.0.0 16909060 1.2.3.4/24 "
    "1.2.3.4:80 +.2.3.4 1.2.3.+ --0.0.0.0 1e1.0.0.0 1.2.3.4294967 99999999999.1.1 ::1.2.3.4",
    {"", "1.2.3.4 ", "1 .2.3.4", "1.2.3 .4", "1.2.3.4\0"s, "1.2\0.3.4"s, "1\0.2.3.4"s,
     "\0001.2.3.4"s, "1.2.3.\0004"s, "1.2.3.4\xff", "\xb1.2.3.4"});

TEST(InputIsIp, FollowsItsRule)
{
    expect_rule({vesk_input_is_ip, is_ip, before_nul}, ips, no_ips, "0123456789....255");
}

TEST(InputIsIp, AcceptsFourNumbersOf0To255)
{
    EXPECT_EQ(vesk_input_is_ip("0.0.0.0", 7), 1);
    EXPECT_EQ(vesk_input_is_ip("255.255.255.255", 15), 1);
    EXPECT_EQ(vesk_input_is_ip("256.1.1.1", 9), 0);
    EXPECT_EQ(vesk_input_is_ip("1.2.3", 5), 0);
    EXPECT_EQ(vesk_input_is_ip("0255.255.255.255", 16), 0);
}

TEST(InputIsIp, TakesEveryNumberInEveryPlace)
{
    for (int number = -2; number < 1002; ++number)
        for (int place = 0; place < 4; ++place) {
            std::string text;
            for (int i = 0; i < 4; ++i)
                text += (i > 0 ? "." : "") + std::to_string(i == place ? number : 7);
            EXPECT_EQ(vesk_input_is_ip(text.c_str(), static_cast<int32_t>(text.size())),
                      number >= 0 && number <= 255)
                << text;
        }
}

TEST(InputIsIp, EndsAtTheLength)
{
    EXPECT_EQ(vesk_input_is_ip("1.2.3.456", 7), 1);
    EXPECT_EQ(vesk_input_is_ip("1.2.3.456", 8), 1);
    EXPECT_EQ(vesk_input_is_ip("1.2.3.456", 9), 0);
    EXPECT_EQ(vesk_input_is_ip("100.200.30.4", 10), 0);
    EXPECT_EQ(vesk_input_is_ip("100.200.30.4", 11), 0);
    EXPECT_EQ(vesk_input_is_ip("1.2.3.4", -7), 0);
}

in6_addr ipv6_address(const char *text)
{
    in6_addr address{};
    EXPECT_EQ(inet_pton(AF_INET6, text, &address), 1);
    return address;
}

bool is_ipv6(const std::string &text)
{
    static const in6_addr words_of_255 = ipv6_address("0:ff:0:ff:0:ff:0:ff");
    in6_addr address;
    if (inet_pton(AF_INET6, text.c_str(), &address) != 1) return false;
    return !IN6_IS_ADDR_LOOPBACK(&address) && !IN6_IS_ADDR_LINKLOCAL(&address) &&
           !IN6_IS_ADDR_MULTICAST(&address) && !IN6_IS_ADDR_V4COMPAT(&address) &&
           !IN6_IS_ADDR_V4MAPPED(&address) &&
           std::memcmp(&address, &words_of_255, sizeof address) != 0;
}

const subject ipv6 = {
    .valid = vesk_input_is_ipv6, .rule = is_ipv6, .behind = {"\0"s}, .uses_length = false};

TEST(InputIsIpv6, FollowsItsRule)
{
    const texts accepted =
        words("2001:db8::1 :: 0:0:0:0:0:0:0:0 2001:DB8::1 1:2:3:4:5:6:7:8 fc00::1 fe7f:ffff::1 "
              "fec0::1 fe00:: feff::1 64:ff9b::1.2.3.4 2002:: ::1:0:0:0 ::ffff:0:0:1 "
              "::1:ffff:1.2.3.4 1::ffff:1.2.3.4 0:0:0:1:: ::1:0:1 ::fffe:1.2.3.4 0:0:0:0:1:0:0:0 "
              "0:ff:0:ff:0:ff:0:fe 0:ff:0:ff:0:ff:1:ff 0:fe:0:ff:0:ff:0:ff "
              "0100:0000:0000:0000:0000:0000:0000:0001 2001:db8::",
              {"2001:db8::\0 more"s});
    const texts refused = words(
        "::1 fe80::1 ff02::1 ::ffff:1.2.3.4 ::1.2.3.4 0:ff:0:ff:0:ff:0:ff 0:0:0:0:0:0:0:1 ::0001 "
        "::0.0.0.1 fe80:: fe8f::1 fe90::1 febf:ffff::1 FE80::1 feb0:: ff00:: "
        "ffff:ffff:ffff:ffff:ffff:ffff:ffff:ffff ff0e::1 ::2 ::ffff ::1:0 ::ffff:ffff "
        "::255.255.255.255 ::ffff:0:0 ::FFFF:0.0.0.0 ::ffff:0:1 2001:db8:::1 2001::db8::1 : ::: "
        "1:2:3:4:5:6:7 1:2:3:4:5:6:7:8:9 12345:: g::1 2001:db8::1%eth0 fe80::1%lo 2001:db8::1/64 "
        "[2001:db8::1] 1.2.3.4 ::1.2.3 ::1.2.3.256 1:2:3:4:5:6:7: :1:2:3:4:5:6:7",
        {"", "2001:db8::1 ", " 2001:db8::1", "2001:db8::1\n", "\0::1"s, "2001:db8::\xe9",
         "\xff::"});
    expect_rule(ipv6, accepted, refused, "0123456789abcdefF::::..");
}

TEST(InputIsIpv6, RefusesTheSpecialKinds)
{
    for (const char *text : {"2001:db8::1", "::"})
        EXPECT_EQ(vesk_input_is_ipv6(text, static_cast<int32_t>(std::strlen(text))), 1) << text;
    for (const char *text : {"::1", "fe80::1", "ff02::1", "::ffff:1.2.3.4", "::1.2.3.4"})
        EXPECT_EQ(vesk_input_is_ipv6(text, static_cast<int32_t>(std::strlen(text))), 0) << text;
}

TEST(InputIsIpv6, DoesNotUseTheLength)
{
    for (const int32_t length : {0, 1, 2, 1000, -1, INT32_MAX, INT32_MIN}) {
        EXPECT_EQ(vesk_input_is_ipv6("2001:db8::1", length), 1) << length;
        EXPECT_EQ(vesk_input_is_ipv6("::1", length), 0) << length;
    }
}

TEST(InputIsIpv6, DecidesAboutEveryFirstWord)
{
    char text[32];
    for (unsigned word = 0; word <= 0xffff; ++word) {
        std::snprintf(text, sizeof text, "%x:0:1::5", word);
        const bool special = word >= 0xff00 || (word >= 0xfe80 && word <= 0xfebf);
        ASSERT_EQ(vesk_input_is_ipv6(text, static_cast<int32_t>(std::strlen(text))), !special)
            << text;
    }
}

TEST(InputIsIpv6, FollowsItsRuleForAddressesOfFewBytes)
{
    std::mt19937 random{7};
    const uint8_t likely[] = {0, 0, 0, 0, 0, 0, 1, 0xff, 0xff, 0xfe, 0x80, 0xbf, 0xc0, 2};
    for (int i = 0; i < 20000; ++i) {
        in6_addr address{};
        for (size_t at = random() % 17; at < 16; ++at)
            address.s6_addr[at] = likely[random() % std::size(likely)];
        char text[INET6_ADDRSTRLEN];
        inet_ntop(AF_INET6, &address, text, sizeof text);
        expect_verdict(ipv6, text);
    }
}

const char *const label_form = "[0-9A-Za-z]{1,2}|[0-9A-Za-z][0-9A-Za-z-]{1,61}[0-9A-Za-z]";

TEST(InputIsDomainLabel, FollowsItsRule)
{
    const texts accepted = words("a Z 0 9 ab A9 0z a-b a--b xn--80ak6 1-2 example EXAMPLE a1b2c3",
                                 {label(62), label(63), "a" + std::string(61, '-') + "b"});
    const texts refused =
        words("- -- -a -ab a- ab- abc- --- -b- a.b . a. .a a_b _ _a a/b a:b a@b a[b a`b a{b a'b",
              {"", "a b", " a", "a ", "a\0b"s, "a\0"s, "\0"s, "\xe9", "a\351b", "ab\xff", "\200ab",
               "a\nb", label(64), label(65), label(300), "-" + label(62), label(62) + "-",
               label(30) + "_" + label(30)});
    expect_rule({vesk_input_is_domain_label, matches(label_form)}, accepted, refused,
                "abyzAZ09---");
    EXPECT_EQ(vesk_input_is_domain_label("abc", -1), 0);
}

/** Splits at the dots, all of them: a NUL may stand only where nothing is examined, at the end. */
bool is_domain_name(const std::string &text)
{
    static const auto is_label = matches(label_form);
    std::string labels = text;
    if (!labels.empty() && labels.back() == '.') labels.pop_back();
    if (labels.empty() || labels.size() > 253 || labels.find('\0') < labels.size() - 1)
        return false;
    std::istringstream rest{labels + "."};
    for (std::string part; std::getline(rest, part, '.');)
        if (part.size() < 2 || !is_label(part.substr(0, part.size() - 1))) return false;
    return true;
}

const texts names = words("ab.cd example.org example.org. ab ab. ab-.cd a- a_ 12.34 a1.b2.c3.d4 "
                          "xn--80.xn--p1 abc- ab_.cd_ ab%.cd% a-bc www.example.co.uk 256.10.10.10",
                          {"a ", "a\xff", "a\0"s, "ab\0."s, "ab.c\0"s, label(63), label(64),
                           label(64) + ".", name({64, 64}), name({63, 63, 63, 61}),
                           name({64, 64, 64, 58}), name({63, 63, 63, 61}) + ".",
                           name(std::vector<size_t>(84, 2)), std::string(63, 'a') + "-"});
const texts no_names =
    words(". .. a a. a.org a.com ab.c ab.c.de .ab ..ab ab.. ab..cd ab.cd.. -ab -a -- a-b ab-c ab-- "
          "- ab.-cd a_b.cd ab.c_d ab.c'd ab/cd ab:80 1.2.3.4",
          {"",
           "a b.cd",
           "a\0b"s,
           "ab\0.cd"s,
           "\0"s,
           "ab.\0"s,
           "\000a.cd"s,
           "\351ab.cd",
           "a\351b.cd",
           "ab.c\377d",
           "ab cd",
           "ab\nc",
           label(65),
           name({65, 2}),
           name({2, 65}),
           name({63, 63, 63, 62}),
           name({64, 64, 64, 59}),
           name({63, 63, 63, 62}) + ".",
           name(std::vector<size_t>(85, 2)),
           name({63, 63, 63, 63}),
           label(254),
           name({100, 100}),
           name(std::vector<size_t>(500, 5))});

TEST(InputIsDomainName, FollowsItsRule)
{
    expect_rule({vesk_input_is_domain_name, is_domain_name, before_nul}, names, no_names,
                "abcxyz019--...");
}

TEST(InputIsDomainName, DropsATrailingDot)
{
    EXPECT_EQ(vesk_input_is_domain_name("example.org.", 12), 1);
    EXPECT_EQ(vesk_input_is_domain_name("example.org..", 13), 0);
}

TEST(InputIsDomainName, RefusesALabelOfOneCharacter)
{
    EXPECT_EQ(vesk_input_is_domain_name("a.org", 5), 0);
    EXPECT_EQ(vesk_input_is_domain_name("ab.c", 4), 0);
}

TEST(InputIsDomainName, DoesNotExamineTheLastCharacterOfALabel)
{
    for (int byte = 0; byte < 256; ++byte) {
        const std::string last = "cd.ab"s + static_cast<char>(byte);
        EXPECT_EQ(vesk_input_is_domain_name(last.c_str(), 6), 1) << byte;
        const std::string inner = "ab"s + static_cast<char>(byte) + ".cd";
        EXPECT_EQ(vesk_input_is_domain_name(inner.c_str(), 6), byte != 0 && byte != '.') << byte;
    }
}

TEST(InputIsDomainName, AcceptsEveryLengthTo253)
{
    for (size_t length = 2; length < 300; ++length) {
        std::string text = label(length);
        for (size_t at = 2; at + 2 < length; at += 3)
            text[at] = '.';
        EXPECT_EQ(vesk_input_is_domain_name(text.c_str(), static_cast<int32_t>(length)),
                  length <= 253)
            << text;
    }
}

TEST(InputIsDomainName, EndsAtTheLength)
{
    EXPECT_EQ(vesk_input_is_domain_name("ab.c", 2), 1);
    EXPECT_EQ(vesk_input_is_domain_name("ab.c", 3), 1);
    EXPECT_EQ(vesk_input_is_domain_name("ab.c", 4), 0);
    EXPECT_EQ(vesk_input_is_domain_name("abc.d", 1), 0);
    EXPECT_EQ(vesk_input_is_domain_name("abc.d", 0), 0);
    EXPECT_EQ(vesk_input_is_domain_name("abc.d", -1), 0);
    EXPECT_EQ(vesk_input_is_domain_name("abc.d", INT32_MIN), 0);
}

TEST(InputIsIpOrDomainName, FollowsItsRule)
{
    texts accepted = names, refused;
    accepted.insert(accepted.end(), ips.begin(), ips.end());
    for (const texts &all : {no_names, no_ips})
        for (const std::string &text : all)
            if (!is_ip(text) && !is_domain_name(text)) refused.push_back(text);
    expect_rule({vesk_input_is_ip_or_domain_name,
                 [](const std::string &text) { return is_ip(text) || is_domain_name(text); },
                 before_nul},
                accepted, refused, "ab019-...255");
}

TEST(InputIsIpOrDomainName, AcceptsEither)
{
    EXPECT_EQ(vesk_input_is_ip_or_domain_name("1.2.3.4", 7), 1);
    EXPECT_EQ(vesk_input_is_ip_or_domain_name("example.org", 11), 1);
    EXPECT_EQ(vesk_input_is_ip_or_domain_name("256.1.1.1", 9), 0);
    EXPECT_EQ(vesk_input_is_ip_or_domain_name("256.10.10.10", 12), 1);
}

} // namespace
