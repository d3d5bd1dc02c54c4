# The Windows DLL (cross-built with cmake/mingw-i686.cmake). Its file name and version resource
# come from the version record, its exports from the export list with ordinals in list order (a
# module definition; ZEM_API carries no ELF visibility there), and it needs no C++ runtime DLL:
# libgcc and libstdc++ are linked statically.

# The record in src/core/version.cpp: major, minor, build major, build number, CPU code, file
# name, version text.
set(_ws "[ \t\r\n]*")
set(_number "([0-9]+),${_ws}")
set(_text "\"([^\"]+)\",${_ws}")
file(READ ${CMAKE_SOURCE_DIR}/src/core/version.cpp _record)
set(_numbers "${_number}${_number}${_number}${_number}")
string(REGEX MATCH "libVersion = {${_ws}${_numbers}{[^}]*},${_ws}${_text}${_text}" _match
       "${_record}")
if(NOT _match)
  message(FATAL_ERROR "version record not found in src/core/version.cpp")
endif()
set(ZEM_FILE_VERSION_COMMAS "${CMAKE_MATCH_1},${CMAKE_MATCH_2},${CMAKE_MATCH_3},${CMAKE_MATCH_4}")
set(ZEM_FILE_VERSION "${CMAKE_MATCH_1}.${CMAKE_MATCH_2}.${CMAKE_MATCH_3}.${CMAKE_MATCH_4}")
set(ZEM_DLL_NAME "${CMAKE_MATCH_5}")
set(ZEM_PRODUCT_VERSION "${CMAKE_MATCH_6}")
# "7.0 build 205.68" is product version 7,0,205,68.
if(NOT ZEM_PRODUCT_VERSION MATCHES "^([0-9]+)\\.([0-9]+) build ([0-9]+)\\.([0-9]+)$")
  message(FATAL_ERROR "version text '${ZEM_PRODUCT_VERSION}' is not 'M.m build B.n'")
endif()
set(ZEM_PRODUCT_VERSION_COMMAS
    "${CMAKE_MATCH_1},${CMAKE_MATCH_2},${CMAKE_MATCH_3},${CMAKE_MATCH_4}")
string(REGEX REPLACE "\\.dll$" "" ZEM_DLL_BASENAME "${ZEM_DLL_NAME}")
set(ZEM_VERSION_RC ${CMAKE_BINARY_DIR}/zemac.rc)
configure_file(${CMAKE_SOURCE_DIR}/cmake/zemac.rc.in ${ZEM_VERSION_RC} @ONLY)

# Module definition: every name of the export list, ordinal = position in the list.
set(_def "LIBRARY \"${ZEM_DLL_NAME}\"\nEXPORTS\n")
set(_ordinal 0)
foreach(_name IN LISTS ZEM_EXPORT_NAMES)
  math(EXPR _ordinal "${_ordinal} + 1")
  string(APPEND _def "    ${_name} @${_ordinal}\n")
endforeach()
set(ZEM_DEF_FILE ${CMAKE_BINARY_DIR}/zemac.def)
file(CONFIGURE OUTPUT ${ZEM_DEF_FILE} CONTENT "${_def}")

target_sources(zemac PRIVATE ${ZEM_DEF_FILE} ${ZEM_VERSION_RC})
set_target_properties(zemac PROPERTIES PREFIX "" OUTPUT_NAME ${ZEM_DLL_BASENAME}
                      VERSION ${PROJECT_VERSION})
set_target_properties(zemcore PROPERTIES PREFIX "")
# The 32-bit Windows ABI keeps the stack aligned to 4 bytes only: a function that needs more
# (16-byte SSE spills) realigns its own frame rather than trust its caller.
target_compile_options(zemac_obj PRIVATE -mincoming-stack-boundary=2)
# Linked by g++ with both runtimes static: a C link of C++ objects would name the import library
# of libgcc_s_dw2-1.dll, which the Linux build drops with --as-needed.
set_target_properties(zemac PROPERTIES LINKER_LANGUAGE CXX)
target_link_options(zemac PRIVATE -static-libgcc -static-libstdc++)
target_link_options(zemcore PRIVATE -static-libgcc -static-libstdc++)
