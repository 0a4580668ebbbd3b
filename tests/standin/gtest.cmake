# GoogleTest: the packaged libraries; for the target, the package's sources, built here.
if(NOT CMAKE_CROSSCOMPILING)
  find_package(GTest REQUIRED)
elseif(NOT TARGET GTest::gtest)
  set(INSTALL_GTEST OFF)
  set(BUILD_GMOCK OFF)
  add_subdirectory(/usr/src/googletest ${CMAKE_BINARY_DIR}/googletest EXCLUDE_FROM_ALL)
endif()
