# Builds for a big-endian 32-bit MIPS with Debian's cross compiler, and runs what was built under
# qemu-user. VESK_CROSS_PREFIX holds what Debian has no cross package of: see scripts/cross-libraries.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR mips)

set(triplet mips-linux-gnu)
set(CMAKE_C_COMPILER ${triplet}-gcc)
set(CMAKE_CXX_COMPILER ${triplet}-g++)
set(CMAKE_LIBRARY_ARCHITECTURE ${triplet})
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-mips -L /usr/${triplet})

list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES VESK_CROSS_PREFIX)
set(CMAKE_FIND_ROOT_PATH /usr/${triplet} ${VESK_CROSS_PREFIX})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
