# Tests and test tools that are no GoogleTest programs.

# The sound card of the tests, an ALSA plugin: never instrumented, since ALSA's own library isn't either.
find_package(ALSA REQUIRED)
add_library(larchloop MODULE tests/support/larchloop/soundBus.cpp tests/support/larchloop/soundCard.cpp
            tests/support/larchloop/soundFile.cpp tests/support/larchloop/larchloopPlugin.cpp)
target_compile_options(larchloop PRIVATE -Wall -Wextra -Wshadow -Werror -O2)
target_compile_definitions(larchloop PRIVATE PIC)
set_target_properties(larchloop PROPERTIES OUTPUT_NAME asound_module_pcm_larchloop CXX_VISIBILITY_PRESET default)
target_link_libraries(larchloop PRIVATE ALSA::ALSA)
set(LARCHLOOP_PLUGIN ${CMAKE_BINARY_DIR}/libasound_module_pcm_larchloop.so)
configure_file(tests/support/larchloop/asound.conf.in ${CMAKE_BINARY_DIR}/asound.conf @ONLY)
configure_file(tests/support/larchloop/asound-none.conf.in ${CMAKE_BINARY_DIR}/asound-none.conf @ONLY)

# every test program may start PortAudio: build the plugin with it
foreach(folder ${LARCH_CORE_FOLDERS} sim host)
  if(TARGET larch-${folder}-tests)
    add_dependencies(larch-${folder}-tests larchloop)
  endif()
endforeach()
foreach(source ${boundary_tests})
  get_filename_component(name ${source} NAME_WE)
  add_dependencies(larch-boundary-${name} larchloop)
  target_compile_definitions(larch-boundary-${name} PRIVATE LARCH_SOURCE_FOLDER="${CMAKE_CURRENT_SOURCE_DIR}"
                             LARCH_BINARY_FOLDER="${CMAKE_BINARY_DIR}")
endforeach()

# includes point down the house only
add_test(NAME house.arrowsPointDown COMMAND ${CMAKE_CURRENT_SOURCE_DIR}/scripts/check-arrows)

# the program larch against the simulated radio, each behaviour a test
foreach(script larchProgram larchTalk larchCw larchModes larchPsk larchProtocol2 larchProtocol2Commands larchRtty larchHell
               larchSlots larchMultipsk)
  file(STRINGS tests/host/${script}Test.py behaviours REGEX "    def test_")
  foreach(line ${behaviours})
    string(REGEX REPLACE ".*def (test_[a-z0-9_]+).*" "\\1" name "${line}")
    add_test(NAME host.${script}.${name} COMMAND python3 ${CMAKE_CURRENT_SOURCE_DIR}/tests/host/${script}Test.py ${CMAKE_BINARY_DIR} ${name})
    set_tests_properties(host.${script}.${name} PROPERTIES LABELS host TIMEOUT 300 SKIP_RETURN_CODE 77 ENVIRONMENT "${LARCH_TEST_ENV}")
  endforeach()
endforeach()

# maintenance writes, from Python through the shared library to the simulated radio's devices
file(STRINGS tests/host/maintenanceTest.py maintenance_tests REGEX "    def test_")
foreach(line ${maintenance_tests})
  if(LARCH_SANITIZE)   # a plain host can't load a library with sanitizers
    break()
  endif()
  string(REGEX REPLACE ".*def (test_[a-z0-9_]+).*" "\\1" name "${line}")
  add_test(NAME host.maintenance.${name} COMMAND python3 ${CMAKE_CURRENT_SOURCE_DIR}/tests/host/maintenanceTest.py ${CMAKE_BINARY_DIR} ${name})
  set_tests_properties(host.maintenance.${name} PROPERTIES LABELS host TIMEOUT 300 ENVIRONMENT "${LARCH_TEST_ENV}")
endforeach()

# the host that ends while everything runs
add_executable(larch-exit-child tests/boundary/exitChild.cpp)
target_link_libraries(larch-exit-child PRIVATE larchflags larchlib)
add_dependencies(larch-exit-child larchloop)
if(TARGET larch-boundary-exitTest)
  add_dependencies(larch-boundary-exitTest larch-exit-child)
endif()

# the library as it is installed
add_test(NAME install.aHostBuildsAgainstTheInstalledTree
         COMMAND ${CMAKE_CURRENT_SOURCE_DIR}/tests/install/installTest ${CMAKE_CURRENT_SOURCE_DIR} ${CMAKE_BINARY_DIR} ${LARCH_SANITIZE})
set_tests_properties(install.aHostBuildsAgainstTheInstalledTree PROPERTIES LABELS install TIMEOUT 300 SKIP_RETURN_CODE 77
                     ENVIRONMENT "${LARCH_TEST_ENV}")

# the guide's example, as a reader would build it
add_test(NAME install.theExampleReceives COMMAND python3 ${CMAKE_CURRENT_SOURCE_DIR}/tests/install/exampleTest.py
         ${CMAKE_CURRENT_SOURCE_DIR} ${CMAKE_BINARY_DIR} ${LARCH_SANITIZE})
set_tests_properties(install.theExampleReceives PROPERTIES LABELS install TIMEOUT 300 ENVIRONMENT "${LARCH_TEST_ENV}")

# the example with a mode of its own, each behaviour a test
file(STRINGS tests/install/ownModeTest.py own_mode_tests REGEX "^def test_")
foreach(line ${own_mode_tests})
  string(REGEX REPLACE ".*def (test_[a-z0-9_]+).*" "\\1" name "${line}")
  add_test(NAME install.ownMode.${name} COMMAND python3 ${CMAKE_CURRENT_SOURCE_DIR}/tests/install/ownModeTest.py
           ${CMAKE_CURRENT_SOURCE_DIR} ${CMAKE_BINARY_DIR} ${name} ${LARCH_SANITIZE})
  set_tests_properties(install.ownMode.${name} PROPERTIES LABELS install TIMEOUT 300 SKIP_RETURN_CODE 77
                        ENVIRONMENT "${LARCH_TEST_ENV}")
endforeach()
