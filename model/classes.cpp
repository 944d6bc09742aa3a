#include "vesk/classes.h"

#include "model/classes.h"

#include "base/never_destroyed.h"
#include "base/or_on_oom.h"
#include "core/log.h"

namespace vesk {

class_registry &classes()
{
    static never_destroyed<class_registry> registry;
    return *registry;
}

int done_adding(const class_registry &registry)
{
    int result = 0;
    const auto report = [&](const char *name, int failed) {
        if (failed) result = fail("Class \"%s\" is invalid.\n", name);
    };
    for (auto [name, cls] : registry)
        report(name, or_on_oom(1, [&, c = cls] { return resolve(*c, registry); }));
    for (auto [name, cls] : registry)
        report(name, vesk_class_validate(cls));
    return result;
}

} // namespace vesk

int vesk_classes_add(vesk_class *cls)
{
    if (!cls) return vesk::fail("Null class.\n");
    return vesk::or_on_oom(1, [&] {
        const char *name = cls->name.c_str();
        if (vesk::classes().insert(name, cls)) return 0;
        return vesk::fail("Class with name \"%s\" already in classes.\n", name);
    });
}

vesk_class *vesk_classes_get(const char *name)
{
    return name ? vesk::classes().get(name) : nullptr;
}

vesk_classes_iterator *vesk_classes_new_iterator(void)
{
    return vesk::or_on_oom<vesk_classes_iterator *>(
        nullptr, [] { return new vesk_classes_iterator{vesk::classes().begin()}; });
}

int vesk_classes_iterator_has_next(const vesk_classes_iterator *iterator)
{
    if (!iterator) {
        vesk::fail("Null iterator.\n");
        return 0;
    }
    return iterator->next != vesk::class_registry::iterator{};
}

vesk_class *vesk_classes_iterator_next(vesk_classes_iterator *iterator)
{
    if (!iterator) return vesk::none("Null iterator.\n");
    vesk_class *cls = (*iterator->next).value;
    if (cls) ++iterator->next;
    return cls;
}

int vesk_classes_delete_iterator(vesk_classes_iterator *iterator)
{
    if (!iterator) return vesk::fail("Null iterator.\n");
    delete iterator;
    return 0;
}

void vesk_classes_print(FILE *stream)
{
    if (!vesk::is_stream(stream)) return;
    for (auto [name, cls] : vesk::classes()) {
        vesk_class_print(cls, stream);
        std::fputc('\n', stream);
    }
}

int vesk_classes_done_adding(void)
{
    return vesk::done_adding(vesk::classes());
}
