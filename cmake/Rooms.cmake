# A room is a folder of src/ and a static library. tarnvale_room(NAME rooms and libraries…) builds
# it from every source in its folder; what it names are the only targets it links.
function(tarnvale_room name)
  file(GLOB_RECURSE sources CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/${name}/*.cpp)
  string(REPLACE "/" "_" target ${name})
  add_library(tv_${target} STATIC ${sources})
  target_include_directories(tv_${target} PUBLIC ${CMAKE_SOURCE_DIR}/src)
  target_link_libraries(tv_${target} PUBLIC ${ARGN})
endfunction()

# tests/NAME/*.cpp as one program of test cases. The program enters a private mount namespace
# before its first case, see tests/support/main.cpp.
function(tarnvale_tests name)
  file(GLOB sources CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/${name}/*.cpp)
  if(NOT sources)
    return()
  endif()
  string(REPLACE "/" "_" target test_${name})
  add_executable(${target} ${sources})
  target_include_directories(${target} PRIVATE ${CMAKE_SOURCE_DIR})
  target_link_libraries(${target} PRIVATE ${ARGN} tarnvale_test_support)
  add_test(NAME ${name} COMMAND ${target})
  set_tests_properties(${name} PROPERTIES TIMEOUT 600)
endfunction()
