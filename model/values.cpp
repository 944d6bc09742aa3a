#include "model/instance.h"

#include <algorithm>
#include <cstring>
#include <new>

namespace vesk {
namespace {

constexpr size_t place_size = sizeof(char *) + sizeof(slot_id);

char *block_of(vesk_instance &instance)
{
    return reinterpret_cast<char *>(&instance);
}

bool is_in_block(vesk_instance &instance, const void *address)
{
    const auto *at = static_cast<const char *>(address);
    return at >= block_of(instance) && at < block_of(instance) + instance.size;
}

void free_if_apart(vesk_instance &instance, void *block)
{
    if (block && !is_in_block(instance, block)) ::operator delete(block);
}

/** Puts the table for so many values at an address. */
void use_table(vesk_instance &instance, void *table, size_t capacity)
{
    if (capacity == 0) return;
    auto **texts = static_cast<char **>(table);
    auto *slots = reinterpret_cast<slot_id *>(texts + capacity);
    std::copy_n(instance.texts, instance.count, texts);
    if (instance.count) std::copy_n(instance.slots(), instance.count, slots);
    instance.texts = texts;
    instance.capacity = static_cast<uint16_t>(capacity);
}

char *add_to_block(vesk_instance &instance, const char *text, size_t size)
{
    char *copy = block_of(instance) + instance.used;
    std::memcpy(copy, text, size);
    instance.used += static_cast<uint32_t>(size);
    return copy;
}

/** A text of its own, in the block while there is room. */
char *keep_text(vesk_instance &instance, const char *text, size_t size)
{
    if (instance.size - instance.used >= size) return add_to_block(instance, text, size);
    auto *copy = static_cast<char *>(::operator new(size));
    std::memcpy(copy, text, size);
    return copy;
}

/** Makes a bigger table; nothing has changed when memory runs out. */
void grow_table(vesk_instance &instance)
{
    const size_t capacity = instance.capacity + size_t{instance.capacity} / 2 + 4;
    void *table = ::operator new(capacity *place_size);
    char **old = instance.texts;
    use_table(instance, table, capacity);
    free_if_apart(instance, old);
}

void append(vesk_instance &instance, slot_id slot, char *text)
{
    instance.texts[instance.count] = text;
    instance.slots()[instance.count] = slot;
    ++instance.count;
}

/** Moves the value at a place of the table to the end. */
void move_to_end(vesk_instance &instance, unsigned at)
{
    std::rotate(instance.texts + at, instance.texts + at + 1, instance.texts + instance.count);
    slot_id *slots = instance.slots();
    std::rotate(slots + at, slots + at + 1, slots + instance.count);
}

} // namespace

vesk_instance *new_instance(vesk_class &cls, const char *name, instance_room room)
{
    const size_t name_size = name ? std::strlen(name) + 1 : 0;
    const size_t table_size = room.values * place_size;
    const size_t size = sizeof(vesk_instance) + table_size + name_size + room.text_bytes;
    if (room.values > UINT16_MAX || size > UINT32_MAX) throw std::bad_alloc{};
    void *block = ::operator new(size);
    auto *instance = new (block) vesk_instance;
    instance->cls = &cls;
    instance->size = static_cast<uint32_t>(size);
    use_table(*instance, instance + 1, room.values);
    instance->used = static_cast<uint32_t>(sizeof(vesk_instance) + table_size);
    if (name) instance->name = add_to_block(*instance, name, name_size);
    return instance;
}

vesk_instance *new_copy(const vesk_instance &original)
{
    instance_room room{original.count, 0};
    for (unsigned i = 0; i < original.count; ++i)
        room.text_bytes += std::strlen(original.texts[i]) + 1;
    vesk_instance *copy = new_instance(*original.cls, original.name, room);
    for (unsigned i = 0; i < original.count; ++i) {
        const char *text = original.texts[i];
        append(*copy, original.slots()[i], add_to_block(*copy, text, std::strlen(text) + 1));
    }
    return copy;
}

void free_instance(vesk_instance *instance) noexcept
{
    for (unsigned i = 0; i < instance->count; ++i)
        free_if_apart(*instance, instance->texts[i]);
    free_if_apart(*instance, instance->texts);
    ::operator delete(instance);
}

void put_value(vesk_instance &instance, slot_id slot, const char *text)
{
    const size_t size = std::strlen(text) + 1;
    const unsigned at = instance.find(slot);
    if (at == instance.count) {
        if (instance.count == instance.capacity) grow_table(instance);
        append(instance, slot, keep_text(instance, text, size));
        return;
    }
    char *old = instance.texts[at];
    if (std::strlen(old) + 1 >= size) {
        std::memmove(old, text, size);
    } else {
        instance.texts[at] = keep_text(instance, text, size);
        free_if_apart(instance, old);
    }
    move_to_end(instance, at);
}

} // namespace vesk
