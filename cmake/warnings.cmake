# Warnings are errors, in the daemon, its plug-ins and its tests alike.
add_library(vesk_warnings INTERFACE)
target_compile_options(
  vesk_warnings INTERFACE -Wall -Wextra -Wshadow -Wconversion -Werror
                          $<$<COMPILE_LANGUAGE:CXX>:-Wnon-virtual-dtor>)

if(VESK_SANITIZE)
  target_compile_options(vesk_warnings INTERFACE -fsanitize=address,undefined
                                                 -fno-omit-frame-pointer
                                                 -fno-sanitize-recover=undefined
                                                 # gcc sees uninitialised use in instrumented
                                                 # code of its own library
                                                 -Wno-maybe-uninitialized)
  target_link_options(vesk_warnings INTERFACE -fsanitize=address,undefined)
  target_compile_definitions(vesk_warnings INTERFACE VESK_SANITIZED=1)
endif()
