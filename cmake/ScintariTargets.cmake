# Helpers shared by the layer folders.
#
# scintari_layer(NAME DIR) : a static library of every .cpp under DIR/src,
#   public headers under DIR/include (for the build tree only: what the runtime package
#   installs is listed in ScintariRuntime.cmake).
# scintari_tests(NAME DIR LIBS...) : one GoogleTest executable of every .cpp
#   under DIR, registered with CTest. Not in the fuzz build nor in the runtime-only build, which
#   have no GoogleTest.

function(scintari_layer name dir)
  file(GLOB_RECURSE sources CONFIGURE_DEPENDS ${dir}/src/*.cpp)
  add_library(${name} STATIC ${sources})
  target_include_directories(${name} PUBLIC $<BUILD_INTERFACE:${dir}/include>)
endfunction()

function(scintari_tests name dir)
  if(SCINTARI_FUZZ OR SCINTARI_RUNTIME_ONLY)
    return()
  endif()
  file(GLOB_RECURSE sources CONFIGURE_DEPENDS ${dir}/*.cpp)
  if(NOT sources)
    return()
  endif()
  add_executable(${name} ${sources})
  target_link_libraries(${name} PRIVATE ${ARGN} GTest::gmock GTest::gtest_main)
  gtest_discover_tests(${name} DISCOVERY_TIMEOUT 60
    PROPERTIES ENVIRONMENT "QT_QPA_PLATFORM=offscreen")
endfunction()
