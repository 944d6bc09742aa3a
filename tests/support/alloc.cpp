#include "tests/support/alloc.h"

#include <cstdlib>
#include <cstring>
#include <functional>
#include <new>
#include <unordered_set>

#include <libxml/parser.h>
#include <libxml/xmlerror.h>
#include <libxml/xmlmemory.h>

extern "C" {
void *__real_malloc(size_t size);
void *__real_calloc(size_t count, size_t size);
void *__real_realloc(void *block, size_t size);
void __real_free(void *block);
}

namespace {

/** For the table of blocks, which is not to count itself. */
template <typename T> struct uncounted {
    using value_type = T;
    uncounted() = default;
    template <typename U> uncounted(const uncounted<U> &) {}
    T *allocate(size_t count) { return static_cast<T *>(__real_malloc(count * sizeof(T))); }
    void deallocate(T *block, size_t) { __real_free(block); }
    bool operator==(const uncounted &) const { return true; }
};

using block_set =
    std::unordered_set<void *, std::hash<void *>, std::equal_to<void *>, uncounted<void *>>;

/** Never destroyed: blocks are freed until the very end. */
block_set &blocks()
{
    static auto &all = *new (__real_malloc(sizeof(block_set))) block_set;
    return all;
}

bool armed = false;
bool reached = false;
size_t until_failure = 0; // allocations; 0: fail from here on
vesk::test::shortage kind = vesk::test::shortage::once;

bool fails()
{
    if (!armed) return false;
    if (until_failure > 0 && --until_failure > 0) return false;
    if (reached && kind == vesk::test::shortage::once) return false;
    reached = true;
    return true;
}

void *counted(void *block)
{
    if (block) blocks().insert(block);
    return block;
}

void *allocate(size_t size)
{
    return fails() ? nullptr : counted(__real_malloc(size));
}

void release(void *block)
{
    if (block) blocks().erase(block);
    __real_free(block);
}

void *resize(void *block, size_t size)
{
    if (fails()) return nullptr;
    void *moved = __real_realloc(block, size);
    if (!moved && size > 0) return nullptr;
    if (block) blocks().erase(block);
    return counted(moved);
}

char *duplicate(const char *text)
{
    const size_t size = std::strlen(text) + 1;
    void *copy = allocate(size);
    if (copy) std::memcpy(copy, text, size);
    return static_cast<char *>(copy);
}

void *allocate_or_throw(size_t size)
{
    void *block = allocate(size > 0 ? size : 1);
    if (!block) throw std::bad_alloc{};
    return block;
}

/** libxml2 is told before it allocates anything, and makes what it keeps. */
[[maybe_unused]] const bool libxml2_is_told = [] {
    xmlMemSetup(release, allocate, resize, duplicate);
    xmlInitParser();
    return true;
}();

} // namespace

extern "C" {

void *__wrap_malloc(size_t size)
{
    return allocate(size);
}

void *__wrap_calloc(size_t count, size_t size)
{
    return fails() ? nullptr : counted(__real_calloc(count, size));
}

void *__wrap_realloc(void *block, size_t size)
{
    return resize(block, size);
}

void __wrap_free(void *block)
{
    release(block);
}

char *__wrap_strdup(const char *text)
{
    return duplicate(text);
}
}

void *operator new(size_t size)
{
    return allocate_or_throw(size);
}

void *operator new[](size_t size)
{
    return allocate_or_throw(size);
}

void *operator new(size_t size, const std::nothrow_t &) noexcept
{
    return allocate(size > 0 ? size : 1);
}

void *operator new[](size_t size, const std::nothrow_t &) noexcept
{
    return allocate(size > 0 ? size : 1);
}

void operator delete(void *block) noexcept
{
    release(block);
}

void operator delete[](void *block) noexcept
{
    release(block);
}

void operator delete(void *block, size_t) noexcept
{
    release(block);
}

void operator delete[](void *block, size_t) noexcept
{
    release(block);
}

void operator delete(void *block, const std::nothrow_t &) noexcept
{
    release(block);
}

void operator delete[](void *block, const std::nothrow_t &) noexcept
{
    release(block);
}

namespace vesk::test {

void begin_shortage(size_t number, shortage what)
{
    until_failure = number;
    kind = what;
    reached = false;
    armed = true;
}

bool end_shortage()
{
    armed = false;
    return reached;
}

size_t live_blocks()
{
    xmlResetLastError(); // libxml2 keeps its texts until the next error
    return blocks().size();
}

plenty::plenty() : before_{armed}
{
    armed = false;
}

plenty::~plenty()
{
    armed = before_;
}

} // namespace vesk::test
