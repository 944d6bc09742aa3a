#ifndef VESK_BASE_NAME_MAP_H
#define VESK_BASE_NAME_MAP_H

#include <cstring>
#include <memory>
#include <new>
#include <optional>
#include <string>
#include <utility>

#include <ght_hash_table.h>

namespace vesk {

/**
 * What all maps share: one hash table that rehashes by itself, made at the first entry. It iterates
 * in the order of insertion; an entry that is removed and entered again moves to the end.
 */
class hash_table {
  public:
    explicit hash_table(unsigned size) : size_{size} {}
    hash_table(hash_table &&other) noexcept
        : size_{other.size_}, table_{std::exchange(other.table_, nullptr)}
    {
    }
    hash_table &operator=(hash_table &&other) noexcept
    {
        std::swap(size_, other.size_);
        std::swap(table_, other.table_);
        return *this;
    }
    ~hash_table() { clear(); }

    unsigned size() const { return table_ ? ght_size(table_) : 0; }

    void clear()
    {
        if (table_) ght_finalize(std::exchange(table_, nullptr));
    }

  protected:
    void *find(const void *key, size_t length) const
    {
        return table_ ? ght_get(table_, static_cast<unsigned>(length), key) : nullptr;
    }

    /** False when the key is present: the first entry wins. */
    bool enter(const void *key, size_t length, void *value)
    {
        if (!table_) {
            table_ = ght_create(size_);
            if (!table_) throw std::bad_alloc{};
            ght_set_rehash(table_, 1);
        }
        const int result = ght_insert(table_, value, static_cast<unsigned>(length), key);
        if (result == -2) throw std::bad_alloc{};
        return result == 0;
    }

    void *take(const void *key, size_t length)
    {
        return table_ ? ght_remove(table_, static_cast<unsigned>(length), key) : nullptr;
    }

    ght_hash_table_t *table() const { return table_; }

  private:
    unsigned size_;
    ght_hash_table_t *table_ = nullptr;
};

/** Map from names to borrowed values that are never null. */
template <typename T> class name_map : public hash_table {
  public:
    using hash_table::hash_table;

    struct entry {
        const char *name;
        T *value;
    };

    /** Removing the current entry during a walk is safe; any other change is not. */
    class iterator {
      public:
        iterator() = default;
        explicit iterator(ght_hash_table_t *table) : table_{table}
        {
            if (table_) value_ = static_cast<T *>(ght_first(table_, &state_, &key_));
        }
        entry operator*() const { return {static_cast<const char *>(key_), value_}; }
        iterator &operator++()
        {
            value_ = static_cast<T *>(ght_next(table_, &state_, &key_));
            return *this;
        }
        bool operator!=(const iterator &other) const { return value_ != other.value_; }

      private:
        ght_hash_table_t *table_ = nullptr;
        ght_iterator_t state_{};
        const void *key_ = nullptr;
        T *value_ = nullptr;
    };

    T *get(const char *name) const
    {
        return size() > 0 ? static_cast<T *>(find(name, std::strlen(name) + 1)) : nullptr;
    }

    /** False when the name is taken. */
    bool insert(const char *name, T *value)
    {
        return enter(name, std::strlen(name) + 1,
                     const_cast<void *>(static_cast<const void *>(value)));
    }

    /** The value that was there, or null. */
    T *remove(const char *name) { return static_cast<T *>(take(name, std::strlen(name) + 1)); }

    iterator begin() const { return iterator{table()}; }
    iterator end() const { return {}; }
};

/** Map from names to values that it owns. */
template <typename T> class owned_map : public name_map<T> {
  public:
    using name_map<T>::name_map;
    owned_map(owned_map &&) noexcept = default;
    owned_map &operator=(owned_map &&) noexcept = default;
    ~owned_map()
    {
        for (auto [name, value] : *this)
            delete value;
    }

    /** Takes value over, unless the name is taken: then false. */
    bool insert(const char *name, std::unique_ptr<T> &value)
    {
        if (!name_map<T>::insert(name, value.get())) return false;
        static_cast<void>(value.release());
        return true;
    }

    std::unique_ptr<T> remove(const char *name)
    {
        return std::unique_ptr<T>{name_map<T>::remove(name)};
    }
};

/** Map from names to values that it owns, of which most have one entry: that needs no table. */
template <typename T> class small_map {
  public:
    unsigned size() const { return first_ ? 1 + rest_.size() : 0; }

    T *get(const char *name)
    {
        if (first_ && first_name_ == name) return &*first_;
        return rest_.get(name);
    }
    const T *get(const char *name) const { return const_cast<small_map *>(this)->get(name); }

    /** Enters what is not there yet. When memory runs out, nothing has changed. */
    void insert(const char *name, T &&value)
    {
        if (!first_) {
            first_name_ = name;
            first_.emplace(std::move(value));
            return;
        }
        auto other = std::make_unique<T>(std::move(value));
        rest_.insert(name, other);
    }

    /** Calls visit(name, value) in the order of insertion. */
    template <typename Visit> void for_each(Visit &&visit) const
    {
        if (first_) visit(first_name_.c_str(), *first_);
        for (auto [name, value] : rest_)
            visit(name, static_cast<const T &>(*value));
    }

  private:
    std::string first_name_;
    std::optional<T> first_;
    owned_map<T> rest_{8};
};

/** Map from the addresses of objects to values that it owns. */
template <typename T> class address_map : public hash_table {
  public:
    using hash_table::hash_table;
    address_map(address_map &&) = delete;
    ~address_map()
    {
        if (!table()) return;
        ght_iterator_t state;
        const void *key = nullptr;
        for (void *value = ght_first(table(), &state, &key); value;
             value = ght_next(table(), &state, &key))
            delete static_cast<T *>(value);
    }

    T *get(const void *address) const
    {
        return size() > 0 ? static_cast<T *>(find(&address, sizeof address)) : nullptr;
    }

    bool insert(const void *address, std::unique_ptr<T> &value)
    {
        if (!enter(&address, sizeof address, value.get())) return false;
        static_cast<void>(value.release());
        return true;
    }

    std::unique_ptr<T> remove(const void *address)
    {
        return std::unique_ptr<T>{static_cast<T *>(take(&address, sizeof address))};
    }
};

/** Set of names, in the order in which they first came. */
class name_set : public name_map<const char> {
  public:
    using name_map<const char>::name_map;

    /** A name that is there already is fine. */
    void insert(const char *name) { name_map<const char>::insert(name, ""); }
    bool contains(const char *name) const { return get(name) != nullptr; }
};

} // namespace vesk

#endif
