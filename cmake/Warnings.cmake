add_compile_options(-Wall -Wextra -Wpedantic -Wshadow -Wconversion)
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  # GCC 12 sees uninitialised members in every moved std::variant, and overlaps in every appended
  # std::string, when it optimises.
  add_compile_options(-Wno-maybe-uninitialized -Wno-restrict)
endif()

set(TARNVALE_SANITIZE "" CACHE STRING "Sanitizers to build with, such as address,undefined")
if(TARNVALE_SANITIZE)
  add_compile_options(-fsanitize=${TARNVALE_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
  add_link_options(-fsanitize=${TARNVALE_SANITIZE})
endif()
