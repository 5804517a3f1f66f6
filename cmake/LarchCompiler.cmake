# Warnings, sanitizers and the compiler cache: one interface target that everything of the project links.
find_program(LARCH_CCACHE ccache)
if(LARCH_CCACHE)
  set(CMAKE_C_COMPILER_LAUNCHER ${LARCH_CCACHE})
  set(CMAKE_CXX_COMPILER_LAUNCHER ${LARCH_CCACHE})
endif()

add_library(larchflags INTERFACE)
# -ffp-contract=off: the variants of a kernel differ only where one fuses on purpose.
target_compile_options(larchflags INTERFACE -Wall -Wextra -Wshadow -Wnon-virtual-dtor -Werror -Wno-psabi
                       -ffp-contract=off $<$<CONFIG:Release,RelWithDebInfo>:-O2> -g1)
target_compile_options(larchflags INTERFACE $<$<CXX_COMPILER_ID:Clang>:-Wno-unknown-attributes>)
target_include_directories(larchflags INTERFACE ${CMAKE_CURRENT_SOURCE_DIR})
if(LARCH_SANITIZE)
  target_compile_options(larchflags INTERFACE -fsanitize=${LARCH_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=undefined)
  target_link_options(larchflags INTERFACE -fsanitize=${LARCH_SANITIZE})
  # gcc's thread sanitizer doesn't model atomic_thread_fence; it only warns
  target_compile_options(larchflags INTERFACE $<$<CXX_COMPILER_ID:GNU>:-Wno-tsan>)
endif()
