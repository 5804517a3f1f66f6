# One test program a folder of tests/, one for each file of tests/boundary/; each TEST is a ctest test of its own process.
macro(larch_tests)
  find_package(GTest REQUIRED)
  include(GoogleTest)
  set(LARCH_TEST_ENV "ALSA_CONFIG_PATH=${CMAKE_BINARY_DIR}/asound-none.conf" "TSAN_OPTIONS=suppressions=${CMAKE_CURRENT_SOURCE_DIR}/tests/tsan.supp"
      "LSAN_OPTIONS=suppressions=${CMAKE_CURRENT_SOURCE_DIR}/tests/lsan.supp"
      "LARCH_SOURCE_DIR=${CMAKE_CURRENT_SOURCE_DIR}" "LARCH_BINARY_DIR=${CMAKE_BINARY_DIR}")

  file(GLOB support_sources CONFIGURE_DEPENDS tests/support/*.cpp)
  if(support_sources)
    add_library(larchtestsupport STATIC ${support_sources})
    target_link_libraries(larchtestsupport PUBLIC larchcore GTest::gtest)
  endif()

  foreach(folder ${LARCH_CORE_FOLDERS} sim)
    file(GLOB test_sources CONFIGURE_DEPENDS tests/${folder}/*Test.cpp)
    if(test_sources)
      add_executable(larch-${folder}-tests ${test_sources})
      target_link_libraries(larch-${folder}-tests PRIVATE larchcore $<TARGET_NAME_IF_EXISTS:larchsim>
                            $<TARGET_NAME_IF_EXISTS:larchtestsupport> PkgConfig::PORTAUDIO PkgConfig::RNNOISE GTest::gtest_main)
      larch_discover(larch-${folder}-tests ${folder})
    endif()
  endforeach()
  if(TARGET larch-dsp-tests)
    target_link_libraries(larch-dsp-tests PRIVATE fftw3)   # the oracle of the transforms
  endif()
  file(GLOB host_test_sources CONFIGURE_DEPENDS tests/host/*Test.cpp)   # like the program: the library's header alone
  add_executable(larch-host-tests ${host_test_sources})
  target_link_libraries(larch-host-tests PRIVATE larchhost PNG::PNG GTest::gtest_main)
  larch_discover(larch-host-tests host)

  file(GLOB boundary_tests CONFIGURE_DEPENDS tests/boundary/*Test.cpp)
  foreach(source ${boundary_tests})
    get_filename_component(name ${source} NAME_WE)
    add_executable(larch-boundary-${name} ${source})
    target_link_libraries(larch-boundary-${name} PRIVATE larchflags larchlib $<TARGET_NAME_IF_EXISTS:larchsim> fmt::fmt
                          ${CMAKE_DL_LIBS} GTest::gtest_main)
    larch_discover(larch-boundary-${name} boundary)
  endforeach()

  include(tests/tests.cmake OPTIONAL)   # tests that are no GoogleTest programs
endmacro()

# label: the folder
function(larch_discover target label)
  string(REPLACE ";" "\\\\\\\\\\\\\\;" environment "${LARCH_TEST_ENV}")   # one property of several variables through two lists
  gtest_discover_tests(${target} TEST_PREFIX ${label}. DISCOVERY_MODE PRE_TEST
                       PROPERTIES LABELS ${label} TIMEOUT 300 SKIP_REGULAR_EXPRESSION "\\[  SKIPPED \\]" ENVIRONMENT "${environment}")
endfunction()

macro(larch_bench)
  find_package(benchmark REQUIRED)
  file(GLOB bench_sources CONFIGURE_DEPENDS bench/*Bench.cpp)
  foreach(source ${bench_sources})
    get_filename_component(name ${source} NAME_WE)
    add_executable(${name} EXCLUDE_FROM_ALL ${source})
    target_link_libraries(${name} PRIVATE larchcore $<TARGET_NAME_IF_EXISTS:larchsim> PkgConfig::PORTAUDIO PkgConfig::RNNOISE
                          benchmark::benchmark_main fftw3 liquid)
    list(APPEND larch_benches ${name})
  endforeach()
  file(GLOB study_sources CONFIGURE_DEPENDS bench/*Study.cpp)
  foreach(source ${study_sources})
    get_filename_component(name ${source} NAME_WE)
    add_executable(${name} EXCLUDE_FROM_ALL ${source})
    target_link_libraries(${name} PRIVATE larchcore $<TARGET_NAME_IF_EXISTS:larchsim> $<TARGET_NAME_IF_EXISTS:larchtestsupport>
                          PkgConfig::PORTAUDIO PkgConfig::RNNOISE)
    list(APPEND larch_benches ${name})
  endforeach()
  add_custom_target(benches DEPENDS ${larch_benches})
endmacro()

macro(larch_fuzz)
  file(GLOB fuzz_sources CONFIGURE_DEPENDS tests/fuzz/*Fuzz.cpp)
  foreach(source ${fuzz_sources})
    get_filename_component(name ${source} NAME_WE)
    add_executable(${name} ${source})
    target_link_libraries(${name} PRIVATE larchcore PkgConfig::PORTAUDIO PkgConfig::RNNOISE)
    target_link_options(${name} PRIVATE -fsanitize=fuzzer)
  endforeach()
endmacro()

macro(larch_install)
  include(CMakePackageConfigHelpers)
  install(TARGETS larchlib EXPORT larchlibTargets LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
          PUBLIC_HEADER DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
  install(EXPORT larchlibTargets NAMESPACE larchlib:: DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/larchlib)
  file(WRITE ${CMAKE_BINARY_DIR}/larchlibConfig.cmake "include(\${CMAKE_CURRENT_LIST_DIR}/larchlibTargets.cmake)\n")
  write_basic_package_version_file(${CMAKE_BINARY_DIR}/larchlibConfigVersion.cmake COMPATIBILITY SameMinorVersion)
  install(FILES ${CMAKE_BINARY_DIR}/larchlibConfig.cmake ${CMAKE_BINARY_DIR}/larchlibConfigVersion.cmake
          DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/larchlib)
  configure_file(cmake/larchlib.pc.in ${CMAKE_BINARY_DIR}/larchlib.pc @ONLY)
  install(FILES ${CMAKE_BINARY_DIR}/larchlib.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
  foreach(program larch larch-sim)
    if(TARGET ${program})
      install(TARGETS ${program} RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
    endif()
  endforeach()
endmacro()
