# pelix_library(NAME SOURCES ... DEPS ...): the static library of one folder of src/.
function(pelix_library name)
  cmake_parse_arguments(ARG "" "" "SOURCES;DEPS" ${ARGN})
  add_library(${name} STATIC ${ARG_SOURCES})
  target_include_directories(${name} PUBLIC ${PROJECT_SOURCE_DIR}/src)
  target_link_libraries(${name} PUBLIC ${ARG_DEPS})
  target_compile_definitions(${name} PUBLIC QT_NO_KEYWORDS)
endfunction()

# pelix_test(NAME SOURCES ... DEPS ... [GUI] [TIMEOUT s] [LABELS ...]): one GoogleTest program,
# its tests registered with CTest one by one, with PELIX_BIN naming the built pelix. GUI
# programs get a QApplication. Tests labelled "desktop" press keys, type, use the clipboard or
# play into the virtual microphone of the one test desktop, so CTest runs them one at a time.
function(pelix_test name)
  cmake_parse_arguments(ARG "GUI" "TIMEOUT" "SOURCES;DEPS;LABELS" ${ARGN})
  add_executable(${name} ${ARG_SOURCES})
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
  if("desktop" IN_LIST ARG_LABELS)
    list(APPEND properties RESOURCE_LOCK desktop)
  endif()
  if(ARG_LABELS)
    list(APPEND properties LABELS "${ARG_LABELS}")
  endif()
  # One variable only: gtest_discover_tests would split a list of them into separate values.
  list(APPEND properties ENVIRONMENT "PELIX_BIN=$<TARGET_FILE:pelix>")
  gtest_discover_tests(${name} DISCOVERY_TIMEOUT 60 PROPERTIES ${properties})
  add_dependencies(${name} pelix)
endfunction()
