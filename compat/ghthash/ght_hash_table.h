/*
 * A hash table from byte strings to pointers that remembers the order of insertion.
 *
 * A key is key_size bytes of any value: two keys are equal if they have the same length and the
 * same bytes, so that a terminating NUL counts where it is part of key_size. The table copies its
 * keys. Data belongs to the caller: the table stores the pointer, never looks behind it and never
 * frees it. No argument may be null except data, which is better not null either, because a
 * result of null then says two things.
 *
 * A table is not locked: threads that share one take turns.
 */
#ifndef GHT_HASH_TABLE_H
#define GHT_HASH_TABLE_H

#ifdef __cplusplus
extern "C" {
#endif

struct ght_entry;

typedef struct ght_hash_table ght_hash_table_t;

/* A position in a walk, for the caller's stack. Its members are private to the table. */
typedef struct ght_iterator {
    struct ght_entry *next;
} ght_iterator_t;

/*
 * New empty table with at least size buckets (0 works), to be ended with ght_finalize. It keeps
 * this number of buckets unless ght_set_rehash says otherwise. Null for no memory.
 */
ght_hash_table_t *ght_create(unsigned int size);

/*
 * Turns automatic rehash on (non-zero) or off (0, as in a new table). While it is on, an insertion
 * that makes the table crowded doubles the buckets. That keeps the order, the walks under way and
 * the addresses of the keys, and fails no insertion: without memory the table stays as crowded as
 * it is.
 */
void ght_set_rehash(ght_hash_table_t *table, int on);

/* Number of entries. */
unsigned int ght_size(ght_hash_table_t *table);

/*
 * Adds data under a copy of key, at the end of the order. Returns 0; -1 if the key is present, -2
 * for no memory: then nothing changed, and the first entry of the key stays.
 */
int ght_insert(ght_hash_table_t *table, void *data, unsigned int key_size, const void *key);

/* The data of key; null if it is absent. */
void *ght_get(ght_hash_table_t *table, unsigned int key_size, const void *key);

/*
 * Puts data in the place of the data of key, which keeps its position in the order. Returns the
 * old data; null if the key is absent: then nothing changed.
 */
void *ght_replace(ght_hash_table_t *table, void *data, unsigned int key_size, const void *key);

/* Removes key, frees its copy and returns its data; null if it is absent. */
void *ght_remove(ght_hash_table_t *table, unsigned int key_size, const void *key);

/*
 * Begins a walk in order of insertion: returns the data of the first entry and points *key to the
 * table's copy of its key, which lives as long as the entry. Both are null for an empty table.
 *
 * The iterator already holds the next entry. So the entry that was just returned may be removed
 * during the walk, any other only if it is not the next one. An entry that is inserted while the
 * last one is current is not visited. Data that is null looks like the end of the walk: what is to
 * be walked needs data that is not null.
 */
void *ght_first(ght_hash_table_t *table, ght_iterator_t *iterator, const void **key);

/* Goes on with a walk as ght_first began it; null at the end. */
void *ght_next(ght_hash_table_t *table, ght_iterator_t *iterator, const void **key);

/* Frees the table and its copies of the keys, not the data. */
void ght_finalize(ght_hash_table_t *table);

#ifdef __cplusplus
}
#endif

#endif
