include_guard(GLOBAL)

# A faster cold build: each target's sources are compiled a few at a time as one translation unit
# (CMAKE_UNITY_BUILD, set in the top-level CMakeLists.txt), and the headers of Qt, GoogleTest and
# the standard library that nearly every file includes are parsed once per build into a
# precompiled header that every library and test program reuses (PELIX_PCH).
option(PELIX_PCH "Reuse one precompiled header of Qt's and the standard library's headers" ON)
if(PELIX_PCH)
  set(pelix_pch_headers
    <QByteArray> <QDateTime> <QDir> <QFile> <QFileInfo> <QHash> <QJsonArray> <QJsonDocument>
    <QJsonObject> <QList> <QObject> <QPointer> <QString> <QStringList> <QTimer> <QUrl> <QVariant>
    <algorithm> <chrono> <expected> <functional> <map> <memory> <optional> <string> <utility>
    <vector>)
  add_library(pelix_pch OBJECT ${CMAKE_CURRENT_LIST_DIR}/pch.cpp)
  # Qt Core's alone: a precompiled header is used only where every macro it was made with is
  # defined the same way, and QT_GUI_LIB, QT_WIDGETS_LIB... are not defined everywhere.
  target_link_libraries(pelix_pch PRIVATE Qt6::Core)
  target_compile_definitions(pelix_pch PRIVATE QT_NO_KEYWORDS)
  target_precompile_headers(pelix_pch PRIVATE ${pelix_pch_headers})
endif()

# _pelix_moc_where_needed(TARGET): what moc sees of TARGET is its sources and the header of
# the same name beside each. A target that declares no Q_OBJECT, Q_GADGET or Q_NAMESPACE there
# (most test programs) is not given to moc at all: running it and compiling its empty output
# cost each such target 1 to 2 s. In the others, the file into which AUTOMOC gathers the moc
# output of the headers is empty unless a header declares one (the classes of sources are moc'ed
# into those sources), and loading the precompiled header (180 MB with the sanitizers) costs an
# empty file 2 to 3 s; so it is compiled without it then.
function(_pelix_moc_where_needed name)
  get_target_property(sources ${name} SOURCES)
  get_target_property(dir ${name} SOURCE_DIR)
  set(in_headers FALSE)
  set(in_sources FALSE)
  foreach(source IN LISTS sources)
    get_filename_component(path ${source} ABSOLUTE BASE_DIR ${dir})
    string(REGEX REPLACE "\\.cpp$" ".h" header ${path})
    foreach(file IN ITEMS ${path} ${header})
      if(EXISTS ${file})
        file(STRINGS ${file} declared REGEX "Q_OBJECT|Q_GADGET|Q_NAMESPACE" LIMIT_COUNT 1)
        if(declared AND file MATCHES "\\.h$")
          set(in_headers TRUE)
        elseif(declared)
          set(in_sources TRUE)
        endif()
      endif()
    endforeach()
  endforeach()
  if(NOT in_headers AND NOT in_sources)
    set_target_properties(${name} PROPERTIES AUTOMOC OFF)
  elseif(NOT in_headers)
    set_source_files_properties(${CMAKE_CURRENT_BINARY_DIR}/${name}_autogen/mocs_compilation.cpp
      TARGET_DIRECTORY ${name} PROPERTIES SKIP_PRECOMPILE_HEADERS ON)
  endif()
endfunction()

# pelix_use_pch(TARGET): compiles TARGET with the shared precompiled header.
function(pelix_use_pch name)
  if(PELIX_PCH)
    target_precompile_headers(${name} REUSE_FROM pelix_pch)
    _pelix_moc_where_needed(${name})
  endif()
endfunction()

# pelix_library(NAME SOURCES ... DEPS ...): the static library of one folder of src/.
function(pelix_library name)
  cmake_parse_arguments(ARG "" "" "SOURCES;DEPS" ${ARGN})
  add_library(${name} STATIC ${ARG_SOURCES})
  target_include_directories(${name} PUBLIC ${PROJECT_SOURCE_DIR}/src)
  target_link_libraries(${name} PUBLIC ${ARG_DEPS})
  target_compile_definitions(${name} PUBLIC QT_NO_KEYWORDS)
  pelix_use_pch(${name})
  pelix_record_library(${name})
endfunction()

# Every library built from src/ is recorded (its folder, its sources and the pelix libraries it
# links), and the record is written as JSON to ${PROJECT_BINARY_DIR}/pelix-libraries.json at the
# end of configuration, for scripts/check-deps.
set_property(GLOBAL PROPERTY PELIX_LIBRARIES "")

# pelix_record_library(NAME [DEPS ...]): records a library not made by pelix_library, such as a
# MODULE. Its sources and links are read from the target when the record is written. DEPS names
# pelix libraries whose headers it uses without linking them (a module cannot link the library
# that loads it).
function(pelix_record_library name)
  cmake_parse_arguments(ARG "" "" "DEPS" ${ARGN})
  if(NOT TARGET ${name})
    message(FATAL_ERROR "pelix_record_library: no target ${name}")
  endif()
  set_property(GLOBAL APPEND PROPERTY PELIX_LIBRARIES ${name})
  set_property(TARGET ${name} PROPERTY PELIX_EXTRA_DEPS ${ARG_DEPS})
endfunction()

function(_pelix_json_string out value)
  string(REPLACE "\\" "\\\\" value "${value}")
  string(REPLACE "\"" "\\\"" value "${value}")
  set(${out} "\"${value}\"" PARENT_SCOPE)
endfunction()

function(_pelix_json_list out)
  set(items "")
  foreach(value IN LISTS ARGN)
    _pelix_json_string(quoted "${value}")
    list(APPEND items "${quoted}")
  endforeach()
  list(JOIN items ", " joined)
  set(${out} "[${joined}]" PARENT_SCOPE)
endfunction()

# Writes the record. A library's folder is the first folder under src/ of the directory that made
# it; its sources are given relative to that folder, leaving out generated ones (under the build
# tree); its deps are the recorded libraries it links directly, plus the DEPS given to
# pelix_record_library.
function(_pelix_write_libraries)
  set(src ${PROJECT_SOURCE_DIR}/src)
  get_property(names GLOBAL PROPERTY PELIX_LIBRARIES)
  set(entries "")
  foreach(name IN LISTS names)
    get_target_property(dir ${name} SOURCE_DIR)
    file(RELATIVE_PATH rel ${src} ${dir})
    string(REGEX REPLACE "/.*" "" folder "${rel}")
    if(folder STREQUAL "" OR folder MATCHES "^\\.\\.")
      message(FATAL_ERROR "${name} is not made under src/")
    endif()
    set(folder_dir ${src}/${folder})
    get_target_property(sources ${name} SOURCES)
    set(kept "")
    foreach(source IN LISTS sources)
      if(source MATCHES "^\\$<")
        continue()
      endif()
      cmake_path(ABSOLUTE_PATH source BASE_DIRECTORY ${dir} NORMALIZE OUTPUT_VARIABLE path)
      cmake_path(IS_PREFIX folder_dir ${path} NORMALIZE inside)
      if(inside)
        file(RELATIVE_PATH source ${folder_dir} ${path})
        list(APPEND kept ${source})
      endif()
    endforeach()
    get_target_property(links ${name} LINK_LIBRARIES)
    get_target_property(extra ${name} PELIX_EXTRA_DEPS)
    if(NOT links)
      set(links "")
    endif()
    if(NOT extra)
      set(extra "")
    endif()
    set(deps "")
    foreach(dep IN LISTS links extra)
      if(dep IN_LIST names AND NOT dep IN_LIST deps)
        list(APPEND deps ${dep})
      endif()
    endforeach()
    _pelix_json_list(sources_json ${kept})
    _pelix_json_list(deps_json ${deps})
    list(APPEND entries "    {\"name\": \"${name}\", \"folder\": \"${folder}\",\n     \"sources\": ${sources_json},\n     \"deps\": ${deps_json}}")
  endforeach()
  list(JOIN entries ",\n" body)
  _pelix_json_string(src_json "${src}")
  file(WRITE ${PROJECT_BINARY_DIR}/pelix-libraries.json
       "{\n  \"source_dir\": ${src_json},\n  \"libraries\": [\n${body}\n  ]\n}\n")
endfunction()
cmake_language(DEFER DIRECTORY ${PROJECT_SOURCE_DIR} CALL _pelix_write_libraries)

# pelix_test(NAME SOURCES ... DEPS ... [GUI] [TIMEOUT s] [LABELS ...]): one GoogleTest program,
# its tests registered with CTest one by one, with PELIX_BIN naming the built pelix. GUI
# programs get a QApplication. Tests labelled "desktop" press keys, type, use the clipboard or
# play into the virtual microphone of the one test desktop, or start a compositor whose
# dictation hears that microphone, so CTest runs them one at a time (a KWin test beside an X11
# one failed under load).
function(pelix_test name)
  cmake_parse_arguments(ARG "GUI" "TIMEOUT" "SOURCES;DEPS;LABELS" ${ARGN})
  add_executable(${name} ${ARG_SOURCES})
  if(PELIX_PCH)
    target_precompile_headers(${name} REUSE_FROM pelix_test_pch)
    _pelix_moc_where_needed(${name})
  endif()
  if(ARG_GUI)
    target_link_libraries(${name} PRIVATE pelix_testmain_gui)
  else()
    target_link_libraries(${name} PRIVATE pelix_testmain)
  endif()
  target_link_libraries(${name} PRIVATE ${ARG_DEPS} pelix_testsupport GTest::gtest GTest::gmock)
  if(NOT ARG_TIMEOUT)
    set(ARG_TIMEOUT 120)
  endif()
  set(properties TIMEOUT ${ARG_TIMEOUT})
  set(lock "")
  set(cost 0)
  if("desktop" IN_LIST ARG_LABELS)
    set(lock desktop)
    set(cost 100)
  endif()
  # One variable only: gtest_discover_tests would split a list of them into separate values.
  list(APPEND properties ENVIRONMENT "PELIX_BIN=$<TARGET_FILE:pelix>")
  gtest_discover_tests(${name} DISCOVERY_TIMEOUT 60 PROPERTIES ${properties})
  # The labels are set once the tests are found, for the same reason: there may be more than one.
  # Desktop tests go first (a high cost, until CTest has timed them): they run one after another,
  # so left to the end they would run alone.
  if(ARG_LABELS)
    set(more ${CMAKE_CURRENT_BINARY_DIR}/${name}_properties.cmake)
    file(WRITE ${more} "set_tests_properties(\${${name}_TESTS} PROPERTIES LABELS \"${ARG_LABELS}\""
      " RESOURCE_LOCK \"${lock}\" COST ${cost})\n")
    set_property(DIRECTORY APPEND PROPERTY TEST_INCLUDE_FILES ${more})
  endif()
  add_dependencies(${name} pelix)
endfunction()
