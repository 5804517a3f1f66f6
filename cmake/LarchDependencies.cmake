# Everything comes from Debian packages (scripts/install-dependencies); RNNoise from a system package where there is one,
# else built once into the build folder from a Debian source package.
find_package(PkgConfig REQUIRED)
find_package(Threads REQUIRED)
find_package(spdlog REQUIRED)
find_package(fmt REQUIRED)
find_package(Boost 1.74 REQUIRED)
find_package(PNG REQUIRED)
find_package(CLI11 REQUIRED)
pkg_check_modules(PORTAUDIO REQUIRED IMPORTED_TARGET portaudio-2.0)

find_path(LARCH_CONCURRENTQUEUE_DIR concurrentqueue/concurrentqueue.h REQUIRED)

pkg_check_modules(RNNOISE IMPORTED_TARGET rnnoise)
if(NOT RNNOISE_FOUND)
  set(LARCH_RNNOISE_PREFIX ${CMAKE_BINARY_DIR}/rnnoise CACHE PATH "where the RNNoise that is built here goes")
  execute_process(COMMAND ${CMAKE_CURRENT_SOURCE_DIR}/scripts/get-rnnoise.sh ${LARCH_RNNOISE_PREFIX}
                  RESULT_VARIABLE larch_rnnoise_result)
  if(NOT larch_rnnoise_result EQUAL 0)
    message(FATAL_ERROR "RNNoise is neither installed nor could it be built from Debian's sources")
  endif()
  set(ENV{PKG_CONFIG_PATH} "${LARCH_RNNOISE_PREFIX}/lib/pkgconfig:$ENV{PKG_CONFIG_PATH}")
  pkg_check_modules(RNNOISE REQUIRED IMPORTED_TARGET rnnoise)
endif()
