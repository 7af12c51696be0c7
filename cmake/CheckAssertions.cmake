# Fails when a build would switch assertions off:
#   cmake -DCOMMANDS=compile_commands.json -DFLAGS="flags of every build type" -P CheckAssertions.cmake
file(READ "${COMMANDS}" commands)
if(NOT commands MATCHES "\"command\"")
  message(FATAL_ERROR "${COMMANDS} tells no compiler command")
endif()
foreach(text IN ITEMS "${commands}" "${FLAGS}")
  if(text MATCHES "[-/]D *NDEBUG[^ ]*")
    message(FATAL_ERROR "Assertions are switched off by ${CMAKE_MATCH_0}")
  endif()
endforeach()
