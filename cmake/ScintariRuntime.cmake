# The runtime-only build (SCINTARI_RUNTIME_ONLY=ON): the libraries a game links to play compiled
# effects, and their installation as a CMake package and a pkg-config file.
#
#   cmake -S . -B build-rt -G Ninja -DSCINTARI_RUNTIME_ONLY=ON -DCMAKE_INSTALL_PREFIX=/opt/scintari
#   cmake --build build-rt && cmake --install build-rt
#
# Libraries (installed as lib/libscintari_<name>.a, in link order):
#   Ps          the runtime: contexts, compiled effects, instances, meshes
#   Expr        the expression language's executor (its text translators, built on Boost.Spirit
#               for the editor, are left out)
#   Sl          the stream format that compiled effects are read with
#   DebugCheck  the assertion facility and the handler of its records (no logger thread)
# A host uses find_package(ScintariRuntime) and links Scintari::Runtime, or pkg-config's
# scintari-runtime. Only the headers of the host's interface are installed, under
# include/scintari; glm is the one dependency a host sees. Boost's headers are read while the
# runtime is built, never by a host.
#
# SCINTARI_RUNTIME_TESTS=ON adds ps_runtime_tests (GoogleTest): the tests of threads and of
# loading, which scripts/tsan.sh builds with ThreadSanitizer.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

option(SCINTARI_RUNTIME_TESTS
       "With SCINTARI_RUNTIME_ONLY: also build ps_runtime_tests (needs GoogleTest)" OFF)

find_package(Boost 1.74 REQUIRED)
find_package(glm REQUIRED)
if(SCINTARI_RUNTIME_TESTS)
  find_package(GTest REQUIRED)
  enable_testing()
  include(GoogleTest)
endif()

scintari_add(utils/debug)

# The stream format, from the sources of utils/revision_saveload: the model's build of it links
# Boost.Filesystem and the logger, and the runtime needs neither.
set(sl_dir ${PROJECT_SOURCE_DIR}/utils/revision_saveload)
file(GLOB_RECURSE sl_sources CONFIGURE_DEPENDS ${sl_dir}/src/*.cpp)
add_library(Sl STATIC ${sl_sources})
target_include_directories(Sl PUBLIC $<BUILD_INTERFACE:${sl_dir}/include>)
target_link_libraries(Sl PUBLIC DebugCheck glm::glm $<BUILD_INTERFACE:Boost::headers>)

scintari_add(expression)
scintari_add(particle_system)

set_target_properties(Ps PROPERTIES OUTPUT_NAME scintari_ps)
set_target_properties(Expr PROPERTIES OUTPUT_NAME scintari_expr)
set_target_properties(Sl PROPERTIES OUTPUT_NAME scintari_sl)
set_target_properties(DebugCheck PROPERTIES OUTPUT_NAME scintari_debug)

add_library(ScintariRuntime INTERFACE)
set_target_properties(ScintariRuntime PROPERTIES EXPORT_NAME Runtime)
target_link_libraries(ScintariRuntime INTERFACE Ps)
add_library(Scintari::Runtime ALIAS ScintariRuntime)

# The host's interface: what it includes (ps_mem_managed_*.h, ps_system_factory.h,
# ps_system_inst.h, ps_system.h, ps_context.h, ps_mesh.h, ps_render_config.h, ps_limits.h,
# debug_log_handler.h) and every header those include. scripts/runtime_package.sh compiles
# each installed header on its own against the installed tree, so a missing one fails there.
set(scintari_runtime_ps_headers
    ps_allocator.h
    ps_context.h
    ps_limits.h
    ps_mem_managed_context.h
    ps_mem_managed_system_inst.h
    ps_mem_managed_system_shell.h
    ps_mesh.h
    ps_mesh_factory.h
    ps_operation.h
    ps_operation_factory.h
    ps_render_config.h
    ps_system.h
    ps_system_factory.h
    ps_system_inst.h
    ps_types.h)
set(scintari_runtime_debug_headers debug_check.h debug_log.h debug_log_handler.h)
list(TRANSFORM scintari_runtime_ps_headers
     PREPEND ${PROJECT_SOURCE_DIR}/particle_system/include/particle_system/)
list(TRANSFORM scintari_runtime_debug_headers PREPEND ${PROJECT_SOURCE_DIR}/utils/debug/include/debug/)

set(scintari_runtime_cmake_dir ${CMAKE_INSTALL_LIBDIR}/cmake/ScintariRuntime)
install(TARGETS ScintariRuntime Ps Expr Sl DebugCheck
        EXPORT ScintariRuntimeTargets
        ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(FILES ${scintari_runtime_ps_headers}
        DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/scintari/particle_system)
install(FILES ${scintari_runtime_debug_headers}
        DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/scintari/debug)
install(EXPORT ScintariRuntimeTargets NAMESPACE Scintari::
        DESTINATION ${scintari_runtime_cmake_dir})
configure_package_config_file(${CMAKE_CURRENT_LIST_DIR}/ScintariRuntimeConfig.cmake.in
  ${PROJECT_BINARY_DIR}/ScintariRuntimeConfig.cmake
  INSTALL_DESTINATION ${scintari_runtime_cmake_dir})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/ScintariRuntimeConfigVersion.cmake
  VERSION ${PROJECT_VERSION} COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/ScintariRuntimeConfig.cmake
              ${PROJECT_BINARY_DIR}/ScintariRuntimeConfigVersion.cmake
        DESTINATION ${scintari_runtime_cmake_dir})
# The pkg-config file finds the prefix from its own place, so that the tree can be moved.
file(RELATIVE_PATH scintari_pc_to_prefix "/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/")
string(REGEX REPLACE "/$" "" scintari_pc_to_prefix "${scintari_pc_to_prefix}")
configure_file(${CMAKE_CURRENT_LIST_DIR}/scintari-runtime.pc.in
               ${PROJECT_BINARY_DIR}/scintari-runtime.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/scintari-runtime.pc
        DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
