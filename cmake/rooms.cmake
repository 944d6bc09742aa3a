# A room is a folder of the daemon, built as an object library: an archive would silently drop what the
# daemon itself never calls but exports to plug-ins.

# A file is what it is on a 32-bit machine too: of any size, with any inode number, of any date. Without
# these the C library there fails with EOVERFLOW, and a folder or the startup file seems not to exist.
set(VESK_WIDE_FILES _FILE_OFFSET_BITS=64 _TIME_BITS=64)

# Every room includes by paths from the root. -iquote, never -I: a file called like a standard header
# must not shadow it.
function(vesk_room_settings target)
  target_compile_options(${target} PRIVATE -iquote ${PROJECT_SOURCE_DIR})
  target_compile_definitions(${target} PRIVATE ${VESK_WIDE_FILES})
  target_include_directories(${target} PRIVATE ${PROJECT_SOURCE_DIR}/include)
  target_link_libraries(${target} PRIVATE vesk_warnings LibXml2::LibXml2 ghthash qorn)
  set_target_properties(${target} PROPERTIES C_VISIBILITY_PRESET hidden
                                             CXX_VISIBILITY_PRESET hidden
                                             VISIBILITY_INLINES_HIDDEN ON)
endfunction()

function(vesk_room name)
  add_library(vesk_${name} OBJECT ${ARGN})
  vesk_room_settings(vesk_${name})
endfunction()
