# What every target of this project is built with: warnings, sanitizers, live assertions.
#
#   dmc50_options(TARGET)   applies it all to a target of ours

# Assertions are part of the driver's behaviour: no build type may switch them off.
foreach(build_type RELEASE RELWITHDEBINFO MINSIZEREL)
  string(REGEX REPLACE "(^| )[-/]D *NDEBUG" "" CMAKE_CXX_FLAGS_${build_type}
    "${CMAKE_CXX_FLAGS_${build_type}}")
endforeach()

if(DMC50_SANITIZE STREQUAL "address")
  set(dmc50_sanitizer_flags -fsanitize=address,undefined -fno-sanitize-recover=all
    -O1 -fno-omit-frame-pointer)
elseif(DMC50_SANITIZE STREQUAL "thread")
  set(dmc50_sanitizer_flags -fsanitize=thread -O1 -fno-omit-frame-pointer)
  set(dmc50_sanitizer_include
    "SHELL:-include \"${PROJECT_SOURCE_DIR}/tests/support/tsan/refcount.h\"")
elseif(DMC50_SANITIZE STREQUAL "fuzz")
  # Comparisons are not traced: it takes a third of the time, and the seeds hold what is compared
  # with. Of debug information, reports need the lines only.
  set(dmc50_sanitizer_flags -fsanitize=address,undefined,fuzzer-no-link
    -fno-sanitize-coverage=trace-cmp -fno-sanitize-recover=all -O2 -gline-tables-only -fno-omit-frame-pointer)
  set(dmc50_sanitizer_include "SHELL:-isystem \"${PROJECT_SOURCE_DIR}/fuzz/assertions\"")
elseif(DMC50_SANITIZE)
  message(FATAL_ERROR
    "DMC50_SANITIZE is \"${DMC50_SANITIZE}\"; it takes address, thread, fuzz or nothing")
endif()

# What the plug-in is made of: the linker drops what nobody calls. Where it is to be small, it sees
# the whole of the plug-in besides; the objects serve other links, too.
set(dmc50_plugin_flags -ffunction-sections -fdata-sections
  "$<$<CONFIG:MinSizeRel>:-flto;-ffat-lto-objects>")

# Counts which lines of the driver run. What only tests it is built as ever.
set(dmc50_counted_folders "${PROJECT_SOURCE_DIR}/common" "${PROJECT_SOURCE_DIR}/driver")

function(dmc50_options target)
  target_compile_options(${target} PRIVATE -Wall -Wextra -Wconversion -Wshadow
    $<$<BOOL:${DMC50_WERROR}>:-Werror> ${dmc50_sanitizer_flags} ${dmc50_sanitizer_include})
  target_link_options(${target} PRIVATE ${dmc50_sanitizer_flags})
  if(DMC50_COVERAGE)
    target_link_options(${target} PRIVATE --coverage)
    if(CMAKE_CURRENT_SOURCE_DIR IN_LIST dmc50_counted_folders)
      target_compile_options(${target} PRIVATE --coverage)
    endif()
  endif()

  # Includes are written from the root: #include "driver/dmc50v3.h"
  target_include_directories(${target} PUBLIC "$<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}>")

  # The annotations stand in front of Qt for all that an executable loads, plug-ins included: its
  # symbols are found first. So they go into executables only, and are exported.
  get_target_property(type ${target} TYPE)
  if(TARGET dmc50_tsan AND type STREQUAL "EXECUTABLE")
    target_sources(${target} PRIVATE $<TARGET_OBJECTS:dmc50_tsan>)
    target_link_libraries(${target} PRIVATE Qt5::Core ${CMAKE_DL_LIBS})
    set_target_properties(${target} PROPERTIES ENABLE_EXPORTS ON)
  endif()
endfunction()

# What ThreadSanitizer must be told of the distribution's Qt: tests/support/tsan/README.md.
if(DMC50_SANITIZE STREQUAL "thread")
  set(tsan_sources events.cpp functors.cpp locks.cpp qt_core.cpp sharing.cpp threads.cpp)
  list(TRANSFORM tsan_sources PREPEND "${PROJECT_SOURCE_DIR}/tests/support/tsan/")
  add_library(dmc50_tsan OBJECT ${tsan_sources})
  dmc50_options(dmc50_tsan)
  target_link_libraries(dmc50_tsan PRIVATE Qt5::Core)
endif()
