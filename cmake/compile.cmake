# Flags that every target of the project shares; link project_options to get them.
add_library(project_options INTERFACE)
target_compile_options(project_options INTERFACE
  -Wall -Wextra -Wshadow -Wconversion -Wsign-conversion -Wformat=2 -Werror
  -fno-strict-aliasing -fstack-protector-strong)
if(TESK_SANITIZE)
  # Not optimised: the instrumented code compiles in less than half the time so.
  set(CMAKE_CXX_FLAGS_RELWITHDEBINFO "-O0 -g1")
  add_compile_options(-fsanitize=address,undefined -fno-sanitize-recover=all -fno-omit-frame-pointer)
  add_link_options(-fsanitize=address,undefined)
endif()
if(TESK_FUZZ)
  # The project's warnings are written for the other compiler.
  set(CMAKE_CXX_FLAGS_RELWITHDEBINFO "-O1 -g1")
  add_compile_options(-w -fsanitize=fuzzer-no-link,address,undefined -fno-sanitize-recover=all -fno-omit-frame-pointer)
  add_link_options(-fsanitize=address,undefined)
endif()
# What the frame path runs through is optimised as one program where the daemon is linked; other programs link the
# same libraries as usual.
set(FRAME_PATH)
if(NOT TESK_SANITIZE AND NOT TESK_COVERAGE AND NOT TESK_FUZZ)
  set(FRAME_PATH -flto=auto -ffat-lto-objects -fno-plt)
endif()
# For sources that run once at a program's start and whose libraries are all templates, such as the command line's:
# optimising them takes longer than they will ever run.
set(RUNS_ONCE -O0)
if(TESK_COVERAGE)
  # Every call stays a call of its own line, at an address that the running program and the file share.
  set(CMAKE_CXX_FLAGS_RELWITHDEBINFO "-O0 -g -fno-inline -fno-optimize-sibling-calls")
  set(CMAKE_POSITION_INDEPENDENT_CODE OFF)
  add_compile_options(-fno-pie)
  add_link_options(-no-pie)
endif()
