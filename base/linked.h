#ifndef VESK_BASE_LINKED_H
#define VESK_BASE_LINKED_H

namespace vesk {

/** Doubly linked list whose elements carry the links: members next and previous. Owns nothing. */
template <typename T> struct linked {
    T *first = nullptr;
    T *last = nullptr;

    void append(T *element)
    {
        element->previous = last;
        element->next = nullptr;
        (last ? last->next : first) = element;
        last = element;
    }

    /** Unlinks the first element; null when there is none. */
    T *take_first()
    {
        T *taken = first;
        if (!taken) return nullptr;
        first = taken->next;
        (first ? first->previous : last) = nullptr;
        return taken;
    }

    void unlink(T *element)
    {
        (element->previous ? element->previous->next : first) = element->next;
        (element->next ? element->next->previous : last) = element->previous;
    }
};

} // namespace vesk

#endif
