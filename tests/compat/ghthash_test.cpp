#include <ght_hash_table.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

namespace {

constexpr int rehash_off = 0;
constexpr int rehash_on = 1;

struct table_deleter {
    void operator()(ght_hash_table_t *table) const { ght_finalize(table); }
};
using table_ptr = std::unique_ptr<ght_hash_table_t, table_deleter>;
using names = std::vector<std::string>;
using entries = std::vector<std::pair<std::string, std::uintptr_t>>;

table_ptr make_table(unsigned size = 4, int rehash = rehash_on)
{
    table_ptr table{ght_create(size)};
    ght_set_rehash(table.get(), rehash);
    return table;
}

void *data_of(std::uintptr_t number)
{
    return reinterpret_cast<void *>(number);
}

std::uintptr_t number_of(const void *data)
{
    return reinterpret_cast<std::uintptr_t>(data);
}

// The helpers count the terminating NUL as part of the key, so that a walk can read it.
unsigned size_of(const std::string &key)
{
    return static_cast<unsigned>(key.size() + 1);
}

int insert(const table_ptr &table, const std::string &key, std::uintptr_t number = 1)
{
    return ght_insert(table.get(), data_of(number), size_of(key), key.c_str());
}

std::uintptr_t get(const table_ptr &table, const std::string &key)
{
    return number_of(ght_get(table.get(), size_of(key), key.c_str()));
}

std::uintptr_t replace(const table_ptr &table, const std::string &key, std::uintptr_t number)
{
    return number_of(ght_replace(table.get(), data_of(number), size_of(key), key.c_str()));
}

std::uintptr_t remove(const table_ptr &table, const std::string &key)
{
    return number_of(ght_remove(table.get(), size_of(key), key.c_str()));
}

table_ptr make_table_of(const names &keys)
{
    table_ptr table = make_table();
    for (const std::string &key : keys)
        insert(table, key);
    return table;
}

template <typename visitor> void walk(const table_ptr &table, visitor visit)
{
    ght_iterator_t iterator;
    const void *key = nullptr;
    for (void *data = ght_first(table.get(), &iterator, &key); data;
         data = ght_next(table.get(), &iterator, &key))
        visit(static_cast<const char *>(key), number_of(data));
}

entries entries_of(const table_ptr &table)
{
    entries all;
    walk(table, [&](const char *key, std::uintptr_t number) { all.emplace_back(key, number); });
    return all;
}

names keys_of(const table_ptr &table)
{
    names all;
    walk(table, [&](const char *key, std::uintptr_t) { all.emplace_back(key); });
    return all;
}

const void *first_key_of(const table_ptr &table)
{
    ght_iterator_t iterator;
    const void *key = nullptr;
    ght_first(table.get(), &iterator, &key);
    return key;
}

// The same operations as a list that is searched from its start.
struct model {
    entries all;

    entries::iterator find(const std::string &key)
    {
        return std::find_if(all.begin(), all.end(),
                            [&](const auto &entry) { return entry.first == key; });
    }

    int insert(const std::string &key, std::uintptr_t number)
    {
        if (find(key) != all.end()) return -1;
        all.emplace_back(key, number);
        return 0;
    }

    std::uintptr_t get(const std::string &key)
    {
        const auto found = find(key);
        return found == all.end() ? 0 : found->second;
    }

    std::uintptr_t replace(const std::string &key, std::uintptr_t number)
    {
        const auto found = find(key);
        return found == all.end() ? 0 : std::exchange(found->second, number);
    }

    std::uintptr_t remove(const std::string &key)
    {
        const std::uintptr_t old = get(key);
        if (old) all.erase(find(key));
        return old;
    }
};

void expect_same_after_one_step(const table_ptr &table, model &expected, std::mt19937 &random,
                                std::uintptr_t number)
{
    const std::string key = std::to_string(random() % 300);
    switch (random() % 5) {
    case 0:
    case 1:
        EXPECT_EQ(insert(table, key, number), expected.insert(key, number));
        break;
    case 2:
        EXPECT_EQ(replace(table, key, number), expected.replace(key, number));
        break;
    case 3:
        EXPECT_EQ(remove(table, key), expected.remove(key));
        break;
    default:
        EXPECT_EQ(get(table, key), expected.get(key));
    }
    EXPECT_EQ(ght_size(table.get()), expected.all.size());
}

void expect_same_as_model(unsigned size, int rehash)
{
    const table_ptr table = make_table(size, rehash);
    model expected;
    std::mt19937 random{20};
    for (std::uintptr_t number = 1; number <= 20000; number++) {
        expect_same_after_one_step(table, expected, random, number);
        if (number % 50 == 0) {
            ASSERT_EQ(entries_of(table), expected.all) << "after step " << number;
        }
    }
}

void expect_all_numbers_in_order(const table_ptr &table, std::uintptr_t count)
{
    std::uintptr_t expected = 0;
    walk(table, [&](const char *key, std::uintptr_t number) {
        expected++;
        ASSERT_EQ(number, expected);
        ASSERT_EQ(key, std::to_string(expected));
    });
    EXPECT_EQ(expected, count);
    for (std::uintptr_t number = 1; number <= count; number++)
        ASSERT_EQ(get(table, std::to_string(number)), number);
}

void expect_room_for(std::uintptr_t count, unsigned size, int rehash)
{
    const table_ptr table = make_table(size, rehash);
    for (std::uintptr_t number = 1; number <= count; number++)
        ASSERT_EQ(insert(table, std::to_string(number), number), 0);
    EXPECT_EQ(ght_size(table.get()), count);
    expect_all_numbers_in_order(table, count);
}

void forbid_more_memory()
{
    const rlimit none{0, 0};
    setrlimit(RLIMIT_AS, &none);
}

void use_up_memory()
{
    static void *volatile block;
    for (std::size_t size = 1U << 24; size >= 16; size /= 2) {
        do
            block = std::malloc(size);
        while (block);
    }
}

// Ends with holes that hold an entry each, and nowhere a large block.
void leave_only_small_blocks()
{
    static std::vector<void *> blocks(20000);
    for (void *&block : blocks)
        block = std::malloc(100);
    forbid_more_memory();
    use_up_memory();
    for (std::size_t i = 0; i < blocks.size(); i += 2)
        std::free(blocks[i]);
}

std::uintptr_t fill(const table_ptr &table)
{
    std::uintptr_t count = 0;
    while (insert(table, std::to_string(count + 1), count + 1) == 0)
        count++;
    return count;
}

[[maybe_unused]] [[noreturn]] void insert_until_memory_ends()
{
    const table_ptr table = make_table();
    forbid_more_memory();
    const std::uintptr_t count = fill(table);
    const bool refused = insert(table, "more", 1) == -2;
    const bool kept = ght_size(table.get()) == count && get(table, "1") == 1 && !get(table, "more");
    _exit(refused && kept ? 0 : 1);
}

[[maybe_unused]] [[noreturn]] void insert_until_small_blocks_end()
{
    const table_ptr table = make_table();
    leave_only_small_blocks();
    const std::uintptr_t count = fill(table);
    const bool kept = get(table, "1") == 1 && get(table, std::to_string(count)) == count;
    _exit(count >= 9900 && kept ? 0 : 1);
}

[[maybe_unused]] [[noreturn]] void create_without_memory()
{
    forbid_more_memory();
    _exit(ght_create(1U << 24) ? 1 : 0);
}

} // namespace

TEST(GhtCreate, MakesAnEmptyTable)
{
    const table_ptr table = make_table();
    EXPECT_EQ(ght_size(table.get()), 0U);
    EXPECT_EQ(get(table, "absent"), 0U);
    EXPECT_EQ(entries_of(table), entries{});
}

TEST(GhtCreate, WorksForEachSmallSize)
{
    for (unsigned size = 0; size <= 70; size++) {
        expect_room_for(200, size, rehash_off);
        expect_room_for(200, size, rehash_on);
    }
}

TEST(GhtCreate, WorksForALargeSize)
{
    expect_room_for(1000, 100000, rehash_on);
}

#ifndef VESK_SANITIZED // there malloc ends the process instead of failing
TEST(GhtCreate, IsNullWithoutMemory)
{
    EXPECT_EXIT(create_without_memory(), testing::ExitedWithCode(0), "");
}
#endif

TEST(GhtInsert, KeepsTheOrder)
{
    const names keys{"wlan0", "br0", "eth0", "a", "eth1", ""};
    EXPECT_EQ(keys_of(make_table_of(keys)), keys);
}

TEST(GhtInsert, RefusesAKeyThatIsPresent)
{
    const table_ptr table = make_table();
    EXPECT_EQ(insert(table, "eth0", 1), 0);
    EXPECT_EQ(insert(table, "eth0", 2), -1);
    EXPECT_EQ(entries_of(table), (entries{{"eth0", 1}}));
    EXPECT_EQ(ght_size(table.get()), 1U);
}

TEST(GhtInsert, CopiesTheKey)
{
    const table_ptr table = make_table();
    char key[] = "eth0";
    ght_insert(table.get(), data_of(1), sizeof(key), key);
    key[3] = '1';
    EXPECT_EQ(get(table, "eth0"), 1U);
    EXPECT_EQ(get(table, "eth1"), 0U);
}

TEST(GhtInsert, CountsATerminatingNulThatIsPartOfTheKey)
{
    const table_ptr table = make_table();
    EXPECT_EQ(ght_insert(table.get(), data_of(1), 3, "abc"), 0);
    EXPECT_EQ(ght_insert(table.get(), data_of(2), 4, "abc"), 0);
    EXPECT_EQ(number_of(ght_get(table.get(), 3, "abc")), 1U);
    EXPECT_EQ(number_of(ght_get(table.get(), 4, "abc")), 2U);
}

TEST(GhtInsert, TellsKeysApartBehindAnEmbeddedNul)
{
    const table_ptr table = make_table(1, rehash_off);
    EXPECT_EQ(ght_insert(table.get(), data_of(1), 5, "ab\0cd"), 0);
    EXPECT_EQ(ght_insert(table.get(), data_of(2), 5, "ab\0ce"), 0);
    EXPECT_EQ(ght_insert(table.get(), data_of(3), 3, "ab\0cd"), 0);
    EXPECT_EQ(number_of(ght_get(table.get(), 5, "ab\0cd")), 1U);
    EXPECT_EQ(number_of(ght_get(table.get(), 5, "ab\0ce")), 2U);
    EXPECT_EQ(number_of(ght_get(table.get(), 3, "ab\0ce")), 3U);
}

TEST(GhtInsert, TellsPrefixesOfOneTextApart)
{
    const table_ptr table = make_table();
    const std::string text(300, '\0');
    for (unsigned size = 0; size <= 300; size++)
        ASSERT_EQ(ght_insert(table.get(), data_of(size + 1), size, text.data()), 0);
    for (unsigned size = 0; size <= 300; size++)
        ASSERT_EQ(number_of(ght_get(table.get(), size, text.data())), size + 1);
}

TEST(GhtInsert, TakesPointersAsKeys)
{
    const table_ptr table = make_table();
    const std::vector<int> places(1000);
    for (const int *place = places.data(); place != places.data() + 1000; place++)
        ASSERT_EQ(ght_insert(table.get(), data_of(number_of(place)), sizeof(place), &place), 0);
    for (const int *place = places.data(); place != places.data() + 1000; place++)
        ASSERT_EQ(number_of(ght_get(table.get(), sizeof(place), &place)), number_of(place));
}

TEST(GhtInsert, PutsARemovedKeyAtTheEnd)
{
    const table_ptr table = make_table_of({"a", "b", "c"});
    remove(table, "a");
    insert(table, "a", 2);
    EXPECT_EQ(entries_of(table), (entries{{"b", 1}, {"c", 1}, {"a", 2}}));
}

#ifndef VESK_SANITIZED // there malloc ends the process instead of failing
TEST(GhtInsert, ChangesNothingWithoutMemory)
{
    EXPECT_EXIT(insert_until_memory_ends(), testing::ExitedWithCode(0), "");
}
#endif

TEST(GhtSetRehash, KeepsOrderAndKeysOverManyEntries)
{
    expect_room_for(100000, 1, rehash_on);
}

TEST(GhtSetRehash, MayStayOff)
{
    expect_room_for(2000, 1, rehash_off);
}

TEST(GhtSetRehash, MayBeTurnedOnLater)
{
    const table_ptr table = make_table(2, rehash_off);
    for (std::uintptr_t number = 1; number <= 1000; number++) {
        if (number == 500) ght_set_rehash(table.get(), rehash_on);
        insert(table, std::to_string(number), number);
    }
    expect_all_numbers_in_order(table, 1000);
}

TEST(GhtSetRehash, MovesNoKey)
{
    const table_ptr table = make_table_of({"first"});
    const void *key = first_key_of(table);
    for (int i = 0; i < 1000; i++)
        insert(table, std::to_string(i));
    EXPECT_EQ(first_key_of(table), key);
    EXPECT_STREQ(static_cast<const char *>(key), "first");
}

TEST(GhtSetRehash, LetsAWalkUnderWayGoOn)
{
    const table_ptr table = make_table_of({"a", "b", "c"});
    std::string visited;
    walk(table, [&](const char *key, std::uintptr_t) {
        if (visited.empty())
            for (int i = 0; i < 1000; i++)
                insert(table, std::to_string(i));
        visited += key;
    });
    EXPECT_EQ(visited.substr(0, 6), "abc012");
}

#ifndef VESK_SANITIZED // there malloc ends the process instead of failing
TEST(GhtSetRehash, FailsNoInsertionWithoutMemoryForTheBuckets)
{
    EXPECT_EXIT(insert_until_small_blocks_end(), testing::ExitedWithCode(0), "");
}
#endif

TEST(GhtReplace, KeepsThePosition)
{
    const table_ptr table = make_table_of({"a", "b", "c"});
    EXPECT_EQ(replace(table, "b", 2), 1U);
    EXPECT_EQ(entries_of(table), (entries{{"a", 1}, {"b", 2}, {"c", 1}}));
    EXPECT_EQ(get(table, "b"), 2U);
}

TEST(GhtReplace, DoesNothingForAnAbsentKey)
{
    const table_ptr table = make_table_of({"a"});
    EXPECT_EQ(replace(table, "b", 2), 0U);
    EXPECT_EQ(entries_of(table), (entries{{"a", 1}}));
}

TEST(GhtRemove, HandsBackTheData)
{
    const table_ptr table = make_table();
    insert(table, "a", 7);
    EXPECT_EQ(remove(table, "a"), 7U);
    EXPECT_EQ(get(table, "a"), 0U);
    EXPECT_EQ(ght_size(table.get()), 0U);
    EXPECT_EQ(keys_of(table), names{});
}

TEST(GhtRemove, DoesNothingForAnAbsentKey)
{
    const table_ptr table = make_table_of({"a"});
    EXPECT_EQ(remove(table, "b"), 0U);
    EXPECT_EQ(ght_size(table.get()), 1U);
}

TEST(GhtRemove, KeepsTheOrderOfTheOthers)
{
    const table_ptr table = make_table_of({"a", "b", "c", "d", "e"});
    remove(table, "c");
    EXPECT_EQ(keys_of(table), (names{"a", "b", "d", "e"}));
    remove(table, "a");
    EXPECT_EQ(keys_of(table), (names{"b", "d", "e"}));
    remove(table, "e");
    EXPECT_EQ(keys_of(table), (names{"b", "d"}));
    insert(table, "f");
    EXPECT_EQ(keys_of(table), (names{"b", "d", "f"}));
}

TEST(GhtRemove, MayTakeTheCurrentEntryOfAWalk)
{
    const table_ptr table = make_table_of({"a", "b", "c", "d"});
    names visited;
    walk(table, [&](const char *key, std::uintptr_t) {
        visited.emplace_back(key);
        if (visited.size() != 2) remove(table, visited.back());
    });
    EXPECT_EQ(visited, (names{"a", "b", "c", "d"}));
    EXPECT_EQ(keys_of(table), (names{"b"}));
}

TEST(GhtRemove, MayTakeEveryEntryDuringAWalk)
{
    const table_ptr table = make_table_of({"a", "b", "c", "d"});
    walk(table, [&](const char *key, std::uintptr_t) { remove(table, std::string{key}); });
    EXPECT_EQ(ght_size(table.get()), 0U);
    insert(table, "e");
    EXPECT_EQ(keys_of(table), (names{"e"}));
}

TEST(GhtFirst, TakesNullDataForTheEnd)
{
    const table_ptr table = make_table_of({"a", "b", "c"});
    replace(table, "b", 0);
    EXPECT_EQ(ght_size(table.get()), 3U);
    EXPECT_EQ(keys_of(table), (names{"a"}));
}

TEST(GhtNext, WalksTwiceAtOnce)
{
    const table_ptr table = make_table_of({"a", "b"});
    std::string visited;
    walk(table, [&](const char *outer, std::uintptr_t) {
        walk(table,
             [&](const char *inner, std::uintptr_t) { visited.append(outer).append(inner); });
    });
    EXPECT_EQ(visited, "aaabbabb");
}

TEST(GhtFinalize, LeavesTheDataToTheCaller)
{
    const auto data = std::make_unique<int>(5);
    table_ptr table = make_table();
    ght_insert(table.get(), data.get(), 1, "a");
    table.reset();
    EXPECT_EQ(*data, 5);
}

TEST(GhtHashTable, BehavesLikeAListThatIsSearched)
{
    expect_same_as_model(0, rehash_on);
    expect_same_as_model(8, rehash_on);
    expect_same_as_model(1, rehash_off);
    expect_same_as_model(512, rehash_off);
}
