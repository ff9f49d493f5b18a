# Installation for hosts that build against an installed library instead of vendoring the tree:
#   cmake --install build --prefix /opt/brindlex
# puts the library, its public headers, a CMake package (find_package(BrindlexCore)) and a pkg-config
# file (brindlexcore.pc) in place. Included at the end of the root CMakeLists.txt, once every target
# and dependency is known.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

option(BDX_INSTALL_TESTING
       "Install the testing kit (virtual clock, sandbox fixture, test main) as BrindlexCore::testing" OFF)

# ---------------------------------------------------------------------------------------------------
# The headers a host includes. Everything else is the library's own business and stays in the tree.
# Each opens with the line "// Public header: installed with the library for hosts to include."; the
# package test refuses an installed header without it and a header with it that is not listed here.
# An installed header may include only installed headers; the install test walks them to prove it.
set(BDX_PUBLIC_HEADERS
    # The library, its settings, its data store and the user
    core/BrindlexCore.h core/BDXDefaults.h core/BDXDataStore.h core/BDXUser.h
    core/BDXAttributedString.h
    # the data store hears the version check through this protocol
    transport/BDXSDKVersionRequestDelegate.h
    # sessions: the notifications of their begin and end, listeners, and the switch that stops their
    # sending
    sessions/BDXSessionManager.h
    # The run loop, queues, sandbox, clock and console a host drives or listens to, and the value
    # types the headers above speak in
    foundation/RunLoop.h foundation/DispatchQueue.h foundation/Sandbox.h foundation/Clock.h
    foundation/Console.h foundation/SystemLog.h foundation/NotificationCenter.h foundation/Error.h
    foundation/Value.h
    foundation/Data.h foundation/Date.h foundation/Object.h
    # key-value observation: how a host follows the application's network activity indicator
    foundation/KeyValueObservable.h
    # The host seam: identity, reachability, the services linked in, and the drawing types of the
    # UI model
    platform/Services.h platform/host/Info.h platform/net/Reachability.h
    platform/net/ReachabilityService.h platform/gfx/Geometry.h platform/gfx/Color.h
    platform/gfx/Image.h)
# The UI model is what a host on another toolkit scripts from its own widgets: all of it is public but
# the renderer, which draws through the library's private graphics back end.
file(GLOB bdx_ui_headers RELATIVE ${PROJECT_SOURCE_DIR} CONFIGURE_DEPENDS
     ${PROJECT_SOURCE_DIR}/platform/ui/*.h)
list(REMOVE_ITEM bdx_ui_headers platform/ui/ViewRenderer.h)
list(APPEND BDX_PUBLIC_HEADERS ${bdx_ui_headers})

# ---------------------------------------------------------------------------------------------------
# What a consumer must find to link the library, one line a dependency. Both the package config
# (find_dependency) and brindlexcore.pc (Requires / Requires.private / Libs.private) are made from it.
#
#   bdx_package_dependency(<PUBLIC|PRIVATE> TARGETS <targets the library links>
#                          [FIND <find_package arguments>]
#                          [PKG_CHECK <prefix>]           # the target is PkgConfig::<prefix>
#                          [PKG_CONFIG <modules>] [LIBS <flags without a module>])
#
# PUBLIC: the installed headers need it (always found). PRIVATE: needed only to link the static
# library. A library target linked without a line here stops the configure step.
set_property(GLOBAL PROPERTY BDX_PACKAGE_DEPENDENCIES "")
function(bdx_package_dependency visibility)
  cmake_parse_arguments(PARSE_ARGV 1 dep "" "PKG_CHECK" "TARGETS;FIND;PKG_CONFIG;LIBS")
  if(NOT visibility MATCHES "^(PUBLIC|PRIVATE)$" OR NOT dep_TARGETS)
    message(FATAL_ERROR "bdx_package_dependency: PUBLIC or PRIVATE and TARGETS are required")
  endif()
  set(id ${visibility}_${dep_TARGETS})
  string(MAKE_C_IDENTIFIER "${id}" id)
  foreach(field TARGETS FIND PKG_CHECK PKG_CONFIG LIBS)
    set_property(GLOBAL PROPERTY BDX_DEP_${id}_${field} "${dep_${field}}")
  endforeach()
  set_property(GLOBAL PROPERTY BDX_DEP_${id}_VISIBILITY ${visibility})
  set_property(GLOBAL APPEND PROPERTY BDX_PACKAGE_DEPENDENCIES ${id})
endfunction()

bdx_package_dependency(PUBLIC  TARGETS Threads::Threads LIBS -pthread FIND Threads)
bdx_package_dependency(PUBLIC  TARGETS nlohmann_json::nlohmann_json FIND nlohmann_json 3.11
                       PKG_CONFIG nlohmann_json)
bdx_package_dependency(PRIVATE TARGETS ZLIB::ZLIB FIND ZLIB PKG_CONFIG zlib)
bdx_package_dependency(PRIVATE TARGETS OpenSSL::Crypto FIND OpenSSL COMPONENTS Crypto
                       PKG_CONFIG libcrypto)
bdx_package_dependency(PRIVATE TARGETS PNG::PNG FIND PNG PKG_CONFIG libpng)
bdx_package_dependency(PRIVATE TARGETS JPEG::JPEG FIND JPEG PKG_CONFIG libjpeg)
bdx_package_dependency(PRIVATE TARGETS ICU::i18n ICU::uc FIND ICU 60 COMPONENTS uc i18n
                       PKG_CONFIG icu-uc icu-i18n)
bdx_package_dependency(PRIVATE TARGETS PkgConfig::CAIRO PKG_CHECK CAIRO PKG_CONFIG cairo)
# libcurl by its flag, not its module: Debian ships only the shared libcurl, and its module's static
# requirements name archives (nghttp2, rtmp, ssh2, psl) that no development package installs.
bdx_package_dependency(PRIVATE TARGETS CURL::libcurl FIND CURL 7.85 LIBS -lcurl)
bdx_package_dependency(PRIVATE TARGETS SQLite::SQLite3 FIND SQLite3 PKG_CONFIG sqlite3)

# ---------------------------------------------------------------------------------------------------
# The library: a shared build carries the ABI generation in its SONAME (libBrindlexCore.so.1).
set_target_properties(BrindlexCore PROPERTIES VERSION ${PROJECT_VERSION}
                                              SOVERSION ${PROJECT_VERSION_MAJOR})
set(BDX_INSTALL_INCLUDE_DIR ${CMAKE_INSTALL_INCLUDEDIR}/BrindlexCore)
set(BDX_INSTALL_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/BrindlexCore)
# Headers are included by their path from the tree's root, so the installed root is the include dir.
target_include_directories(BrindlexCore PUBLIC $<INSTALL_INTERFACE:${BDX_INSTALL_INCLUDE_DIR}>)

get_target_property(bdx_type BrindlexCore TYPE)
if(bdx_type STREQUAL "STATIC_LIBRARY")
  set(bdx_static TRUE)
else()
  set(bdx_static FALSE)
endif()

# Every imported target the library links must have a dependency line, or the installed package
# would name a target its consumers cannot find.
get_property(bdx_dependencies GLOBAL PROPERTY BDX_PACKAGE_DEPENDENCIES)
set(bdx_declared_targets)
foreach(id IN LISTS bdx_dependencies)
  get_property(targets GLOBAL PROPERTY BDX_DEP_${id}_TARGETS)
  list(APPEND bdx_declared_targets ${targets})
endforeach()
get_target_property(bdx_linked BrindlexCore LINK_LIBRARIES)
foreach(item IN LISTS bdx_linked)
  if(item MATCHES "^\\$<" OR NOT TARGET ${item})
    continue()
  endif()
  get_target_property(imported ${item} IMPORTED)
  if(imported AND NOT item IN_LIST bdx_declared_targets)
    message(FATAL_ERROR "BrindlexCore links ${item}, which the installed package does not know how to "
                        "find: add a bdx_package_dependency line for it in ${CMAKE_CURRENT_LIST_FILE}")
  endif()
endforeach()

# ---------------------------------------------------------------------------------------------------
# The CMake package.
set(bdx_find_dependencies "")
set(bdx_pc_requires)
set(bdx_pc_requires_private)
set(bdx_pc_libs)
set(bdx_pc_libs_private)
foreach(id IN LISTS bdx_dependencies)
  foreach(field VISIBILITY FIND PKG_CHECK PKG_CONFIG LIBS)
    get_property(${field} GLOBAL PROPERTY BDX_DEP_${id}_${field})
  endforeach()
  # The shared library resolves its private dependencies itself; a static one hands them on.
  if(VISIBILITY STREQUAL "PUBLIC" OR bdx_static)
    if(FIND)
      list(JOIN FIND " " find_arguments)
      string(APPEND bdx_find_dependencies "find_dependency(${find_arguments})\n")
    endif()
    if(PKG_CHECK)
      list(JOIN PKG_CONFIG " " modules)
      string(APPEND bdx_find_dependencies
             "find_dependency(PkgConfig)\n"
             "pkg_check_modules(${PKG_CHECK} QUIET IMPORTED_TARGET ${modules})\n"
             "if(NOT ${PKG_CHECK}_FOUND)\n"
             "  set(BrindlexCore_FOUND FALSE)\n"
             "  set(BrindlexCore_NOT_FOUND_MESSAGE \"BrindlexCore needs ${modules} (pkg-config)\")\n"
             "  return()\n"
             "endif()\n")
    endif()
  endif()
  if(VISIBILITY STREQUAL "PUBLIC")
    list(APPEND bdx_pc_requires ${PKG_CONFIG})
    list(APPEND bdx_pc_libs ${LIBS})
  else()
    list(APPEND bdx_pc_requires_private ${PKG_CONFIG})
    list(APPEND bdx_pc_libs_private ${LIBS})
  endif()
endforeach()
set(BDX_CONFIG_FIND_DEPENDENCIES "${bdx_find_dependencies}")

install(TARGETS BrindlexCore EXPORT BrindlexCoreTargets
        ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} NAMELINK_COMPONENT Development
        RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
foreach(header IN LISTS BDX_PUBLIC_HEADERS)
  get_filename_component(folder ${header} DIRECTORY)
  install(FILES ${PROJECT_SOURCE_DIR}/${header} DESTINATION ${BDX_INSTALL_INCLUDE_DIR}/${folder})
endforeach()
install(EXPORT BrindlexCoreTargets NAMESPACE BrindlexCore:: DESTINATION ${BDX_INSTALL_CMAKE_DIR})

# The testing kit, for hosts that want the virtual clock and the sandbox fixture in their own tests.
# Its own export file, which the package config loads when it is there (COMPONENTS testing).
if(BDX_INSTALL_TESTING)
  if(NOT TARGET bdx_testing)
    message(FATAL_ERROR "BDX_INSTALL_TESTING needs BDX_BUILD_TESTS=ON: the testing kit is built with the tests")
  endif()
  set_target_properties(bdx_testing PROPERTIES EXPORT_NAME testing)
  install(TARGETS bdx_testing EXPORT BrindlexCoreTestingTargets ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR})
  file(GLOB bdx_testing_headers RELATIVE ${PROJECT_SOURCE_DIR} CONFIGURE_DEPENDS
       ${PROJECT_SOURCE_DIR}/testing/*.h)
  install(FILES ${bdx_testing_headers} DESTINATION ${BDX_INSTALL_INCLUDE_DIR}/testing)
  install(EXPORT BrindlexCoreTestingTargets NAMESPACE BrindlexCore:: DESTINATION ${BDX_INSTALL_CMAKE_DIR})
endif()

configure_package_config_file(${CMAKE_CURRENT_LIST_DIR}/BrindlexCoreConfig.cmake.in
                              ${PROJECT_BINARY_DIR}/BrindlexCoreConfig.cmake
                              INSTALL_DESTINATION ${BDX_INSTALL_CMAKE_DIR})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/BrindlexCoreConfigVersion.cmake
                                 COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/BrindlexCoreConfig.cmake
              ${PROJECT_BINARY_DIR}/BrindlexCoreConfigVersion.cmake
        DESTINATION ${BDX_INSTALL_CMAKE_DIR})

# ---------------------------------------------------------------------------------------------------
# The pkg-config file. The library's public compile definitions go into Cflags, escaped the way
# pkg-config hands them to a shell (a Makefile, eval, Meson and CMake all read them back whole).
get_target_property(bdx_definitions BrindlexCore INTERFACE_COMPILE_DEFINITIONS)
set(bdx_pc_cflags)
foreach(definition IN LISTS bdx_definitions)
  if(definition MATCHES "\\$<")
    message(FATAL_ERROR "brindlexcore.pc cannot carry the generator expression in ${definition}")
  endif()
  string(REPLACE "\\" "\\\\" definition "${definition}")
  string(REPLACE "\"" "\\\"" definition "${definition}")
  string(REPLACE " " "\\ " definition "${definition}")
  list(APPEND bdx_pc_cflags "-D${definition}")
endforeach()
list(JOIN bdx_pc_cflags " " BDX_PC_CFLAGS)
list(JOIN bdx_pc_requires " " BDX_PC_REQUIRES)
list(JOIN bdx_pc_requires_private " " BDX_PC_REQUIRES_PRIVATE)
list(JOIN bdx_pc_libs " " BDX_PC_LIBS)
list(JOIN bdx_pc_libs_private " " BDX_PC_LIBS_PRIVATE)
foreach(dir LIBDIR INCLUDEDIR)
  if(IS_ABSOLUTE "${CMAKE_INSTALL_${dir}}")
    set(BDX_PC_${dir} "${CMAKE_INSTALL_${dir}}")
  else()
    set(BDX_PC_${dir} "\${prefix}/${CMAKE_INSTALL_${dir}}")
  endif()
endforeach()
# The prefix is the one given at install time (cmake --install --prefix), not the configured one:
# everything else is filled in now, the prefix when the file is installed.
set(BDX_PC_PREFIX "@BDX_PC_PREFIX@")
configure_file(${CMAKE_CURRENT_LIST_DIR}/brindlexcore.pc.in ${PROJECT_BINARY_DIR}/brindlexcore.pc.in @ONLY)
install(CODE "
  set(BDX_PC_PREFIX \"\${CMAKE_INSTALL_PREFIX}\")
  configure_file(\"${PROJECT_BINARY_DIR}/brindlexcore.pc.in\" \"${PROJECT_BINARY_DIR}/install/brindlexcore.pc\" @ONLY)")
install(FILES ${PROJECT_BINARY_DIR}/install/brindlexcore.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

# ---------------------------------------------------------------------------------------------------
# The proof: install into a fresh prefix, then build and run the consumer under tests/consumer against
# it, once through find_package and once through pkg-config.
if(BDX_BUILD_TESTS)
  add_library(BrindlexCore::testing ALIAS bdx_testing)
  set(bdx_consumer_work ${PROJECT_BINARY_DIR}/consumer-test)
  get_directory_property(bdx_compile_options DIRECTORY ${PROJECT_SOURCE_DIR} COMPILE_OPTIONS)
  get_directory_property(bdx_link_options DIRECTORY ${PROJECT_SOURCE_DIR} LINK_OPTIONS)
  # Options that depend on the language (the compiler cache's precompiled-header flag) only serve this
  # tree's own build, and a test command cannot evaluate them.
  list(FILTER bdx_compile_options EXCLUDE REGEX "^\\$<")
  list(FILTER bdx_link_options EXCLUDE REGEX "^\\$<")
  list(JOIN bdx_compile_options " " bdx_compile_options)
  list(JOIN bdx_link_options " " bdx_link_options)
  list(JOIN CMAKE_CXX_COMPILER_LAUNCHER "|" bdx_launcher)
  # The consumer is built as this tree is (compiler, sanitizers), or a sanitized static library
  # would not link into it.
  set(bdx_consumer_args
      -DBDX_BUILD_DIR=${PROJECT_BINARY_DIR}
      -DBDX_WORK_DIR=${bdx_consumer_work}
      -DBDX_CONSUMER_SOURCE_DIR=${PROJECT_SOURCE_DIR}/tests/consumer
      -DBDX_LIBDIR=${CMAKE_INSTALL_LIBDIR}
      -DBDX_INCLUDEDIR=${BDX_INSTALL_INCLUDE_DIR}
      -DBDX_STATIC=${bdx_static}
      -DBDX_INSTALL_TESTING=${BDX_INSTALL_TESTING}
      -DBDX_VERSION=${PROJECT_VERSION}
      -DBDX_GENERATOR=${CMAKE_GENERATOR}
      -DBDX_CXX_COMPILER=${CMAKE_CXX_COMPILER}
      "-DBDX_CXX_LAUNCHER=${bdx_launcher}"
      "-DBDX_CXX_FLAGS=${CMAKE_CXX_FLAGS} ${bdx_compile_options}"
      "-DBDX_LINK_FLAGS=${CMAKE_EXE_LINKER_FLAGS} ${bdx_link_options}")
  set(bdx_consumer_script ${PROJECT_SOURCE_DIR}/tests/consumer/InstalledConsumer.cmake)
  add_test(NAME package_install
           COMMAND ${CMAKE_COMMAND} ${bdx_consumer_args} -DBDX_STEP=install -P ${bdx_consumer_script})
  add_test(NAME package_consumer_find_package
           COMMAND ${CMAKE_COMMAND} ${bdx_consumer_args} -DBDX_STEP=find_package -P ${bdx_consumer_script})
  add_test(NAME package_consumer_pkg_config
           COMMAND ${CMAKE_COMMAND} ${bdx_consumer_args} -DBDX_STEP=pkg_config -P ${bdx_consumer_script})
  set_tests_properties(package_install package_consumer_find_package package_consumer_pkg_config
                       PROPERTIES TIMEOUT 600 LABELS package)
  set_tests_properties(package_install PROPERTIES FIXTURES_SETUP bdx_installed)
  set_tests_properties(package_consumer_find_package package_consumer_pkg_config
                       PROPERTIES FIXTURES_REQUIRED bdx_installed)
  # Without pkg-config that route cannot be tried; the test says so and is reported as skipped.
  set_tests_properties(package_consumer_pkg_config PROPERTIES SKIP_REGULAR_EXPRESSION "BDX-SKIP: ")
endif()
