#include "ght_hash_table.h"

#include <stddef.h>
#include <stdint.h>
#include <stdlib.h>
#include <string.h>

/*
 * Buckets are chains of entries, a power of two of them, so that a mask picks one. The order is a
 * doubly linked list through the same entries. An entry is one allocation, with its key behind it,
 * and never moves: a bigger bucket array only links the entries anew. A small table has its first
 * buckets behind it; they stay there unused once it has grown.
 */
struct ght_entry {
    struct ght_entry *chain;
    struct ght_entry *previous;
    struct ght_entry *next;
    void *data;
    uint32_t hash;
    unsigned int key_size;
    unsigned char key[];
};

struct ght_hash_table {
    struct ght_entry *first;
    struct ght_entry *last;
    struct ght_entry **buckets;
    size_t bucket_count;
    unsigned int size;
    int rehash;
    struct ght_entry *own_buckets[];
};

enum { most_own_buckets = 16, crowded_chain = 2 };

static size_t bucket_count_for(unsigned int size)
{
    const size_t most = (size_t)1 << 31;
    size_t count = 1;
    while (count < size && count < most)
        count *= 2;
    return count;
}

/* Keys are short: four bytes at a time, and the rest as one number. */
static uint32_t hash_of(const unsigned char *key, unsigned int key_size)
{
    uint32_t hash = 0x811c9dc5U ^ key_size;
    uint32_t part;
    for (; key_size >= sizeof(part); key += sizeof(part), key_size -= (unsigned int)sizeof(part)) {
        memcpy(&part, key, sizeof(part));
        hash = (hash ^ part) * 0x85ebca6bU;
        hash ^= hash >> 15;
    }
    for (part = 0; key_size > 0; key_size--)
        part = part << 8 | *key++;
    hash = (hash ^ part) * 0xc2b2ae35U;
    return hash ^ (hash >> 16);
}

static struct ght_entry **bucket_of(const ght_hash_table_t *table, uint32_t hash)
{
    return &table->buckets[hash & (table->bucket_count - 1)];
}

/* The link that points to the entry of key, or the null at the end of its chain. */
static struct ght_entry **find(const ght_hash_table_t *table, uint32_t hash, unsigned int key_size,
                               const void *key)
{
    struct ght_entry **slot = bucket_of(table, hash);
    for (; *slot; slot = &(*slot)->chain) {
        const struct ght_entry *entry = *slot;
        if (entry->hash == hash && entry->key_size == key_size &&
            memcmp(entry->key, key, key_size) == 0)
            break;
    }
    return slot;
}

static void append_to_order(ght_hash_table_t *table, struct ght_entry *entry)
{
    entry->previous = table->last;
    entry->next = NULL;
    if (table->last)
        table->last->next = entry;
    else
        table->first = entry;
    table->last = entry;
}

static void take_from_order(ght_hash_table_t *table, const struct ght_entry *entry)
{
    if (entry->previous)
        entry->previous->next = entry->next;
    else
        table->first = entry->next;
    if (entry->next)
        entry->next->previous = entry->previous;
    else
        table->last = entry->previous;
}

/* Only at multiples of the bucket count, so that growth that fails is not tried at every entry. */
static int is_crowded(const ght_hash_table_t *table)
{
    return table->size >= table->bucket_count * crowded_chain &&
           (table->size & (table->bucket_count - 1)) == 0;
}

static void free_buckets(ght_hash_table_t *table)
{
    if (table->buckets != table->own_buckets) free(table->buckets);
}

static void grow(ght_hash_table_t *table)
{
    const size_t count = table->bucket_count * 2;
    struct ght_entry **buckets = calloc(count, sizeof(*buckets));
    if (!buckets) return;

    free_buckets(table);
    table->buckets = buckets;
    table->bucket_count = count;
    for (struct ght_entry *entry = table->first; entry; entry = entry->next) {
        struct ght_entry **bucket = bucket_of(table, entry->hash);
        entry->chain = *bucket;
        *bucket = entry;
    }
}

ght_hash_table_t *ght_create(unsigned int size)
{
    const size_t count = bucket_count_for(size);
    const size_t own = count <= most_own_buckets ? count : 0;
    ght_hash_table_t *table = calloc(1, sizeof(*table) + own * sizeof(*table->own_buckets));
    if (!table) return NULL;

    table->bucket_count = count;
    table->buckets = own ? table->own_buckets : calloc(count, sizeof(*table->buckets));
    if (!table->buckets) {
        free(table);
        return NULL;
    }
    return table;
}

void ght_set_rehash(ght_hash_table_t *table, int on)
{
    table->rehash = on;
}

unsigned int ght_size(ght_hash_table_t *table)
{
    return table->size;
}

int ght_insert(ght_hash_table_t *table, void *data, unsigned int key_size, const void *key)
{
    const uint32_t hash = hash_of(key, key_size);
    struct ght_entry **slot = find(table, hash, key_size, key);
    if (*slot) return -1;

    struct ght_entry *entry = malloc(sizeof(*entry) + key_size);
    if (!entry) return -2;
    entry->chain = NULL;
    entry->data = data;
    entry->hash = hash;
    entry->key_size = key_size;
    memcpy(entry->key, key, key_size);

    *slot = entry;
    append_to_order(table, entry);
    table->size++;
    if (table->rehash && is_crowded(table)) grow(table);
    return 0;
}

void *ght_get(ght_hash_table_t *table, unsigned int key_size, const void *key)
{
    const struct ght_entry *entry = *find(table, hash_of(key, key_size), key_size, key);
    return entry ? entry->data : NULL;
}

void *ght_replace(ght_hash_table_t *table, void *data, unsigned int key_size, const void *key)
{
    struct ght_entry *entry = *find(table, hash_of(key, key_size), key_size, key);
    if (!entry) return NULL;

    void *old = entry->data;
    entry->data = data;
    return old;
}

void *ght_remove(ght_hash_table_t *table, unsigned int key_size, const void *key)
{
    struct ght_entry **slot = find(table, hash_of(key, key_size), key_size, key);
    struct ght_entry *entry = *slot;
    if (!entry) return NULL;

    void *data = entry->data;
    *slot = entry->chain;
    take_from_order(table, entry);
    table->size--;
    free(entry);
    return data;
}

void *ght_first(ght_hash_table_t *table, ght_iterator_t *iterator, const void **key)
{
    iterator->next = table->first;
    return ght_next(table, iterator, key);
}

void *ght_next(ght_hash_table_t *table, ght_iterator_t *iterator, const void **key)
{
    (void)table;
    const struct ght_entry *entry = iterator->next;
    if (!entry) {
        *key = NULL;
        return NULL;
    }
    iterator->next = entry->next;
    *key = entry->key;
    return entry->data;
}

void ght_finalize(ght_hash_table_t *table)
{
    struct ght_entry *entry = table->first;
    while (entry) {
        struct ght_entry *next = entry->next;
        free(entry);
        entry = next;
    }
    free_buckets(table);
    free(table);
}
