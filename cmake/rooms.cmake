# The rooms of the tree are data: scripts/rooms.json names each room, its purpose, and the rooms that it may include.
# The libraries are made from the same table, so that a room links only the rooms that it may include.
file(READ ${PROJECT_SOURCE_DIR}/scripts/rooms.json rooms_table)
set_property(DIRECTORY ${PROJECT_SOURCE_DIR} APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS scripts/rooms.json)

# The rooms below host/, in `list`.
function(host_rooms list)
  set(rooms)
  string(JSON count LENGTH "${rooms_table}")
  math(EXPR last "${count} - 1")
  foreach(place RANGE ${last})
    string(JSON room MEMBER "${rooms_table}" ${place})
    if(room MATCHES "^host/")
      list(APPEND rooms ${room})
    endif()
  endforeach()
  set(${list} ${rooms} PARENT_SCOPE)
endfunction()

# The library of a room, in `target`: host/chassis/asic is host_chassis_asic. Rooms without sources contain only
# headers, which every library sees.
function(target_of_room room target)
  if(room MATCHES "^host/")
    string(REPLACE "/" "_" name ${room})
  else()
    set(name opal_headers)
  endif()
  set(${target} ${name} PARENT_SCOPE)
endfunction()

# room_library([FRAME_PATH] [PROGRAMS source…] [PACKAGES target…])
# Makes the library of the calling folder from all its sources except those of programs. Links it with the rooms that it
# may include and with the external packages that it uses.
# FRAME_PATH: frames pass through the room, so it is fully optimised.
function(room_library)
  cmake_parse_arguments(PARSE_ARGV 0 with "FRAME_PATH" "" "PROGRAMS;PACKAGES")
  file(RELATIVE_PATH room ${PROJECT_SOURCE_DIR} ${CMAKE_CURRENT_SOURCE_DIR})
  target_of_room(${room} library)
  file(GLOB sources CONFIGURE_DEPENDS *.cpp)
  list(TRANSFORM with_PROGRAMS PREPEND ${CMAKE_CURRENT_SOURCE_DIR}/)
  list(REMOVE_ITEM sources ${with_PROGRAMS})
  add_library(${library} STATIC ${sources})
  target_link_libraries(${library} PUBLIC opal_headers ${with_PACKAGES} PRIVATE project_options)
  if(NOT with_FRAME_PATH)
    target_compile_options(${library} PRIVATE ${RARELY_RUN})
  endif()
  string(JSON count LENGTH "${rooms_table}" ${room} includes)
  set(place 0)
  while(place LESS count)
    string(JSON included GET "${rooms_table}" ${room} includes ${place})
    target_of_room(${included} target)
    target_link_libraries(${library} PUBLIC ${target})
    math(EXPR place "${place} + 1")
  endwhile()
endfunction()

# room_tests([PROGRAMS source…] [WITH target…])
# Makes the test program of a room from the folder of the same name below tests/: tests/host/bus makes host_bus_tests.
function(room_tests)
  cmake_parse_arguments(PARSE_ARGV 0 with "" "" "PROGRAMS;WITH")
  file(RELATIVE_PATH room ${PROJECT_SOURCE_DIR}/tests ${CMAKE_CURRENT_SOURCE_DIR})
  target_of_room(${room} library)
  file(GLOB sources CONFIGURE_DEPENDS *.cpp)
  list(TRANSFORM with_PROGRAMS PREPEND ${CMAKE_CURRENT_SOURCE_DIR}/)
  list(REMOVE_ITEM sources ${with_PROGRAMS})
  add_executable(${library}_tests ${sources})
  target_link_libraries(${library}_tests PRIVATE
    $<TARGET_NAME_IF_EXISTS:${library}> ${with_WITH} project_options GTest::gtest GTest::gtest_main)
  gtest_discover_tests(${library}_tests PROPERTIES LABELS host TIMEOUT 60 DISCOVERY_MODE PRE_TEST)
  add_dependencies(host_tests ${library}_tests)
endfunction()
