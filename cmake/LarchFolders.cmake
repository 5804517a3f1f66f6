# What is built of which folder. A new source file is found by its place and its name; no list is kept.
set(LARCH_CORE_FOLDERS platform runtime dsp audio modes transceiver radio link)

macro(larch_core)
  set(core_sources)
  set(boundary_sources)
  foreach(folder ${LARCH_CORE_FOLDERS})
    file(GLOB found CONFIGURE_DEPENDS ${folder}/*.cpp)
    list(APPEND core_sources ${found})
  endforeach()
  set(boundary_sources ${core_sources})
  list(FILTER core_sources EXCLUDE REGEX "Exports\\.cpp$")     # the boundary's one-line functions: *Exports.cpp
  list(FILTER boundary_sources INCLUDE REGEX "Exports\\.cpp$")
  add_library(larchcore STATIC ${core_sources})
  target_link_libraries(larchcore PUBLIC larchflags fmt::fmt Threads::Threads
                        PRIVATE spdlog::spdlog PkgConfig::PORTAUDIO PkgConfig::RNNOISE Boost::headers ${CMAKE_DL_LIBS})
  target_include_directories(larchcore SYSTEM PUBLIC ${LARCH_CONCURRENTQUEUE_DIR}/concurrentqueue)
endmacro()

macro(larch_shared)
  add_library(larchlib SHARED ${boundary_sources})
  target_link_libraries(larchlib PRIVATE larchcore)
  target_include_directories(larchlib INTERFACE $<BUILD_INTERFACE:${CMAKE_CURRENT_SOURCE_DIR}/runtime>
                             $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)
  # -z nodelete: the library's threads outlive any handle of the loader
  target_link_options(larchlib PRIVATE -Wl,-z,nodelete -Wl,--no-undefined-version
                      -Wl,--version-script=${CMAKE_CURRENT_SOURCE_DIR}/cmake/larchlib.map)
  set_target_properties(larchlib PROPERTIES OUTPUT_NAME larchlib VERSION ${PROJECT_VERSION} SOVERSION 0
                        LINK_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/cmake/larchlib.map
                        PUBLIC_HEADER ${CMAKE_CURRENT_SOURCE_DIR}/runtime/larchlib.h)
  add_library(larchlib::larchlib ALIAS larchlib)
endmacro()

macro(larch_programs)
  file(GLOB sim_sources CONFIGURE_DEPENDS sim/*.cpp)
  list(FILTER sim_sources EXCLUDE REGEX "Main\\.cpp$")
  if(sim_sources)
    add_library(larchsim STATIC ${sim_sources})             # knows nothing of the core
    target_link_libraries(larchsim PUBLIC larchflags fmt::fmt Threads::Threads)
  endif()
  if(EXISTS ${CMAKE_CURRENT_SOURCE_DIR}/sim/larchSimMain.cpp)
    add_executable(larch-sim sim/larchSimMain.cpp)
    target_link_libraries(larch-sim PRIVATE larchsim CLI11::CLI11)
  endif()
  file(GLOB host_sources CONFIGURE_DEPENDS host/*.cpp)
  list(FILTER host_sources EXCLUDE REGEX "Main\\.cpp$")
  if(host_sources)
    add_library(larchhost STATIC ${host_sources})           # written on larchlib.h alone
    target_link_libraries(larchhost PUBLIC larchflags larchlib fmt::fmt PNG::PNG CLI11::CLI11 Threads::Threads)
  endif()
  if(EXISTS ${CMAKE_CURRENT_SOURCE_DIR}/host/larchMain.cpp)
    add_executable(larch host/larchMain.cpp)
    target_link_libraries(larch PRIVATE larchhost)
    set_target_properties(larch PROPERTIES INSTALL_RPATH "$ORIGIN/../${CMAKE_INSTALL_LIBDIR}")
  endif()
endmacro()
