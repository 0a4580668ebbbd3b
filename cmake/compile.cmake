# Flags for every target of the project; link project_options to use them.
add_library(project_options INTERFACE)
target_compile_options(project_options INTERFACE
  -Wall -Wextra -Wshadow -Wconversion -Wsign-conversion -Wformat=2 -Werror
  -fno-strict-aliasing -fstack-protector-strong)
if(TESK_SANITIZE)
  # Without optimisation, the instrumented code compiles in less than half the time.
  set(CMAKE_CXX_FLAGS_RELWITHDEBINFO "-O0 -g1")
  add_compile_options(-fsanitize=address,undefined -fno-sanitize-recover=all -fno-omit-frame-pointer)
  add_link_options(-fsanitize=address,undefined)
endif()
if(TESK_FUZZ)
  # The project's warnings are meant for g++, not for clang.
  set(CMAKE_CXX_FLAGS_RELWITHDEBINFO "-O1 -g1")
  add_compile_options(-w -fsanitize=fuzzer-no-link,address,undefined -fno-sanitize-recover=all -fno-omit-frame-pointer)
  add_link_options(-fsanitize=address,undefined)
endif()
# Link-time optimisation for the sources of the frame path, where the daemon is linked. Other programs link the same
# libraries as usual.
set(FRAME_PATH)
if(NOT TESK_SANITIZE AND NOT TESK_COVERAGE AND NOT TESK_FUZZ)
  set(FRAME_PATH -flto=auto -ffat-lto-objects -fno-plt)
endif()
# For sources that run once at program start and use template libraries, such as the command line: optimising them takes
# longer than they ever run.
set(RUNS_ONCE -O0)
# For rooms that no frame passes through: these options save a third of the compile time. Backtraces keep functions and
# lines.
set(RARELY_RUN)
if(NOT TESK_SANITIZE AND NOT TESK_COVERAGE AND NOT TESK_FUZZ)
  set(RARELY_RUN -O1 -g1)
endif()
if(TESK_COVERAGE)
  # Every call keeps its own line, and has the same address in the running program and in the file.
  set(CMAKE_CXX_FLAGS_RELWITHDEBINFO "-O0 -g -fno-inline -fno-optimize-sibling-calls")
  set(CMAKE_POSITION_INDEPENDENT_CODE OFF)
  add_compile_options(-fno-pie)
  add_link_options(-no-pie)
endif()
