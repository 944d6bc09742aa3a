/* Registers a class that has no type. */
#include <vesk/vesk.h>

void vesk_plugin_init(void)
{
    vesk_classes_add(vesk_class_new("broken"));
}
