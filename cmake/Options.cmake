# The compile options of all targets of this project. Users of the library do not inherit them.
add_compile_options(
  -Wall -Wextra -Wpedantic -Wconversion -Wnon-virtual-dtor -Woverloaded-virtual -Wold-style-cast
  $<$<BOOL:${REGISTER_WERROR}>:-Werror>)

set(CMAKE_CXX_STANDARD 17)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
if(PROJECT_IS_TOP_LEVEL AND NOT CMAKE_BUILD_TYPE)
  set(CMAKE_BUILD_TYPE RelWithDebInfo)
endif()

set(REGISTER_SANITIZE "" CACHE STRING "Sanitizers to build with, such as address,undefined")
if(REGISTER_SANITIZE)
  add_compile_options(-fsanitize=${REGISTER_SANITIZE} -fno-sanitize-recover=all
    -fno-omit-frame-pointer)
  add_link_options(-fsanitize=${REGISTER_SANITIZE})
endif()
if(REGISTER_FUZZ)
  add_compile_options(-fsanitize=fuzzer-no-link)
endif()
