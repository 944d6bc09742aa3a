/* Has the symbol of the initialisation function, but at address 0. */
extern int null_init_is_not_empty;

__asm__(".globl vesk_plugin_init\n"
        ".set vesk_plugin_init, 0\n");
