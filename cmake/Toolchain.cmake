# Warnings, linker, compiler cache and sanitizers for every target of the house.
find_program(CCACHE_PROGRAM ccache)
if(CCACHE_PROGRAM)
  # The precompiled headers carry no time stamp (see below), so the cache may look through them.
  set(CMAKE_C_COMPILER_LAUNCHER ${CMAKE_COMMAND} -E env CCACHE_SLOPPINESS=pch_defines,time_macros,include_file_mtime,include_file_ctime ${CCACHE_PROGRAM})
  set(CMAKE_CXX_COMPILER_LAUNCHER ${CMAKE_C_COMPILER_LAUNCHER})
endif()

find_program(MOLD_PROGRAM mold)
if(MOLD_PROGRAM)
  add_link_options(-fuse-ld=mold)
endif()

add_compile_options(-Wall -Wextra -Wpedantic -Wshadow -Werror)
add_compile_options($<$<COMPILE_LANGUAGE:CXX>:-Wnon-virtual-dtor> $<$<COMPILE_LANGUAGE:CXX>:-Woverloaded-virtual>)
if(CMAKE_CXX_COMPILER_ID MATCHES "Clang")
  add_compile_options($<$<COMPILE_LANGUAGE:CXX>:-Wthread-safety>)
  add_compile_options("$<$<COMPILE_LANGUAGE:CXX>:SHELL:-Xclang -fno-pch-timestamp>")
endif()
# Symbols without the cost of full debug information: stack traces stay readable, the build stays quick.
set(CMAKE_CXX_FLAGS_RELWITHDEBINFO "-O2 -g1 -DNDEBUG")
set(CMAKE_C_FLAGS_RELWITHDEBINFO "-O2 -g1 -DNDEBUG")

if(KESTRELYNE_SANITIZERS STREQUAL "address")
  add_compile_options(-O1 -g1 -fno-omit-frame-pointer -fsanitize=address,undefined,fuzzer-no-link -fno-sanitize-recover=all)
  add_link_options(-fsanitize=address,undefined)
elseif(KESTRELYNE_SANITIZERS STREQUAL "thread")
  add_compile_options(-O1 -g1 -fno-omit-frame-pointer -fsanitize=thread)
  add_link_options(-fsanitize=thread)
elseif(KESTRELYNE_SANITIZERS)
  message(FATAL_ERROR "KESTRELYNE_SANITIZERS is address, thread or empty")
endif()
