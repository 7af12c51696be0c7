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
    -fno-omit-frame-pointer)
elseif(DMC50_SANITIZE STREQUAL "thread")
  set(dmc50_sanitizer_flags -fsanitize=thread -fno-omit-frame-pointer)
elseif(DMC50_SANITIZE)
  message(FATAL_ERROR "DMC50_SANITIZE is \"${DMC50_SANITIZE}\"; it takes address, thread or nothing")
endif()

function(dmc50_options target)
  target_compile_options(${target} PRIVATE -Wall -Wextra -Wconversion -Wshadow
    $<$<BOOL:${DMC50_WERROR}>:-Werror> ${dmc50_sanitizer_flags})
  target_link_options(${target} PRIVATE ${dmc50_sanitizer_flags})
  # Includes are written from the root: #include "driver/dmc50v3.h"
  target_include_directories(${target} PUBLIC "$<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}>")
endfunction()
