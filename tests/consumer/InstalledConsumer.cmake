# Builds and runs the consumer in this folder against a fresh install of the library, the way a host
# that does not vendor the tree would. Run by CTest as `cmake -D... -DBDX_STEP=<step> -P` this file:
#   install       installs the build into <work>/prefix and checks what was installed
#   find_package  configures, builds and runs the consumer project with find_package(BrindlexCore)
#   pkg_config    compiles the consumer with the flags `pkg-config brindlexcore` gives, and runs it
cmake_minimum_required(VERSION 3.25)

set(prefix ${BDX_WORK_DIR}/prefix)
set(include_root ${prefix}/${BDX_INCLUDEDIR})
set(libdir ${prefix}/${BDX_LIBDIR})
string(REPLACE "|" ";" launcher "${BDX_CXX_LAUNCHER}")

function(run what)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE result OUTPUT_VARIABLE out ERROR_VARIABLE err)
  if(NOT result EQUAL 0)
    list(JOIN ARGN " " command)
    message(FATAL_ERROR "${what} failed (${result}):\n${command}\n${out}\n${err}")
  endif()
  set(run_output "${out}" PARENT_SCOPE)
endfunction()

# Runs the built consumer in a sandbox of its own and checks what it says: the version it was compiled
# against is the installed one, and the token it set is the token it reads back.
function(run_consumer executable route)
  set(sandbox ${BDX_WORK_DIR}/${route}/sandbox)
  file(REMOVE_RECURSE ${sandbox})
  file(MAKE_DIRECTORY ${sandbox})
  run("the consumer built through ${route}" ${executable} ${sandbox})
  foreach(expected "BrindlexCore ${BDX_VERSION}, compiled against ${BDX_VERSION}" "main queue served"
          "token consumer-token")
    string(FIND "${run_output}" "${expected}" at)
    if(at EQUAL -1)
      message(FATAL_ERROR "the consumer built through ${route} did not print \"${expected}\":\n${run_output}")
    endif()
  endforeach()
  message(STATUS "consumer (${route}):\n${run_output}")
endfunction()

if(BDX_STEP STREQUAL "install")
  file(REMOVE_RECURSE ${BDX_WORK_DIR})
  file(MAKE_DIRECTORY ${BDX_WORK_DIR})
  run("cmake --install" ${CMAKE_COMMAND} --install ${BDX_BUILD_DIR} --prefix ${prefix})

  # Every header included by path from an installed header must itself be installed: a host has
  # nothing else.
  file(GLOB_RECURSE headers RELATIVE ${include_root} ${include_root}/*.h)
  if(NOT headers)
    message(FATAL_ERROR "no header was installed under ${include_root}")
  endif()
  set(missing)
  foreach(header IN LISTS headers)
    file(STRINGS ${include_root}/${header} includes REGEX "^[ \t]*#[ \t]*include[ \t]*\"")
    foreach(line IN LISTS includes)
      string(REGEX REPLACE "^[ \t]*#[ \t]*include[ \t]*\"([^\"]+)\".*" "\\1" included "${line}")
      if(NOT EXISTS ${include_root}/${included})
        list(APPEND missing "${header} includes ${included}, which is not installed")
      endif()
    endforeach()
  endforeach()
  if(missing)
    list(JOIN missing "\n  " missing)
    message(FATAL_ERROR "installed headers need headers that were not installed:\n  ${missing}")
  endif()

  # A reader of the tree sees what hosts may include from the header itself: its first comment line
  # says it is installed. Both directions are held, so the list in the install rules and the marks in
  # the headers cannot drift apart.
  set(marker "// Public header: installed with the library for hosts to include.")
  get_filename_component(source_root ${BDX_CONSUMER_SOURCE_DIR}/../.. ABSOLUTE)
  function(first_comment_line path out)
    file(STRINGS ${path} comments REGEX "^[ \t]*//" LIMIT_COUNT 1)
    set(${out} "${comments}" PARENT_SCOPE)
  endfunction()
  set(unmarked)
  foreach(header IN LISTS headers)
    if(header MATCHES "^testing/")
      continue()
    endif()
    first_comment_line(${include_root}/${header} first)
    if(NOT first STREQUAL marker)
      list(APPEND unmarked "${header}")
    endif()
  endforeach()
  set(not_installed)
  foreach(folder foundation platform core sessions transport persistence Logging profiler reports capture
                 recording annotation presentation archives)
    file(GLOB_RECURSE tree_headers RELATIVE ${source_root} ${source_root}/${folder}/*.h)
    foreach(header IN LISTS tree_headers)
      first_comment_line(${source_root}/${header} first)
      if(first STREQUAL marker AND NOT EXISTS ${include_root}/${header})
        list(APPEND not_installed "${header}")
      endif()
    endforeach()
  endforeach()
  if(unmarked OR not_installed)
    list(JOIN unmarked "\n  " unmarked)
    list(JOIN not_installed "\n  " not_installed)
    message(FATAL_ERROR "installed headers must open with the line\n  ${marker}\n"
                        "installed without it:\n  ${unmarked}\nmarked but not installed:\n  ${not_installed}")
  endif()

  # Only the library, its headers and its two package descriptions are installed: no test, benchmark
  # or tool, and the testing kit only when asked for.
  file(GLOB_RECURSE installed RELATIVE ${prefix} ${prefix}/*)
  set(unexpected)
  foreach(file IN LISTS installed)
    if(file MATCHES "^${BDX_INCLUDEDIR}/testing/|^${BDX_LIBDIR}/libbdx_testing\\.|TestingTargets")
      if(NOT BDX_INSTALL_TESTING)
        list(APPEND unexpected ${file})
      endif()
    elseif(NOT file MATCHES "^(${BDX_INCLUDEDIR}/|${BDX_LIBDIR}/libBrindlexCore\\.|${BDX_LIBDIR}/cmake/BrindlexCore/|${BDX_LIBDIR}/pkgconfig/brindlexcore\\.pc$)")
      list(APPEND unexpected ${file})
    endif()
  endforeach()
  if(unexpected)
    list(JOIN unexpected "\n  " unexpected)
    message(FATAL_ERROR "installed files that are not part of the package:\n  ${unexpected}")
  endif()

  if(BDX_STATIC)
    set(library ${libdir}/libBrindlexCore.a)
  else()
    # A shared library is found by its SONAME, which carries the major version.
    string(REGEX MATCH "^[0-9]+" major "${BDX_VERSION}")
    set(library ${libdir}/libBrindlexCore.so.${major})
    find_program(readelf readelf)
    if(readelf AND EXISTS ${library})
      run("readelf" ${readelf} -d ${library})
      if(NOT run_output MATCHES "Library soname: \\[libBrindlexCore\\.so\\.${major}\\]")
        message(FATAL_ERROR "${library} does not carry the SONAME libBrindlexCore.so.${major}:\n${run_output}")
      endif()
    endif()
  endif()
  if(NOT EXISTS ${library})
    message(FATAL_ERROR "${library} was not installed")
  endif()
  list(LENGTH headers count)
  message(STATUS "installed into ${prefix}: ${count} headers, their includes all installed")

elseif(BDX_STEP STREQUAL "find_package")
  set(work ${BDX_WORK_DIR}/find_package)
  file(REMOVE_RECURSE ${work})
  # One source that includes every installed header (the testing kit's need GoogleTest, which this
  # consumer does not ask for).
  file(GLOB_RECURSE headers RELATIVE ${include_root} ${include_root}/*.h)
  list(FILTER headers EXCLUDE REGEX "^testing/")
  set(all_headers "")
  foreach(header IN LISTS headers)
    string(APPEND all_headers "#include \"${header}\"\n")
  endforeach()
  file(WRITE ${work}/AllInstalledHeaders.cpp "${all_headers}")

  # The tree's build settings go in as an initial cache, where a list (the launcher) stays whole.
  file(WRITE ${work}/settings.cmake
       "set(CMAKE_CXX_COMPILER [[${BDX_CXX_COMPILER}]] CACHE FILEPATH \"\")\n"
       "set(CMAKE_CXX_COMPILER_LAUNCHER [[${launcher}]] CACHE STRING \"\")\n"
       "set(CMAKE_CXX_FLAGS [[${BDX_CXX_FLAGS}]] CACHE STRING \"\")\n"
       "set(CMAKE_EXE_LINKER_FLAGS [[${BDX_LINK_FLAGS}]] CACHE STRING \"\")\n")
  run("configuring the consumer with find_package"
      ${CMAKE_COMMAND} -C ${work}/settings.cmake -S ${BDX_CONSUMER_SOURCE_DIR} -B ${work}/build
      -G ${BDX_GENERATOR} -DCMAKE_PREFIX_PATH=${prefix}
      -DBDX_EXTRA_SOURCES=${work}/AllInstalledHeaders.cpp)
  # The package found must be the fresh install, not one lying elsewhere on the machine.
  file(STRINGS ${work}/build/CMakeCache.txt found REGEX "^BrindlexCore_DIR:")
  if(NOT found STREQUAL "BrindlexCore_DIR:PATH=${libdir}/cmake/BrindlexCore")
    message(FATAL_ERROR "find_package found another BrindlexCore: ${found}")
  endif()
  run("building the consumer with find_package" ${CMAKE_COMMAND} --build ${work}/build)
  run_consumer(${work}/build/consumer find_package)

elseif(BDX_STEP STREQUAL "pkg_config")
  find_program(pkg_config NAMES pkg-config pkgconf)
  if(NOT pkg_config)
    # Reported by CTest as skipped (the test's SKIP_REGULAR_EXPRESSION), never as passed.
    message("BDX-SKIP: pkg-config is not installed; the pkg-config route of the installed package was not tried")
    return()
  endif()
  set(work ${BDX_WORK_DIR}/pkg_config)
  file(REMOVE_RECURSE ${work})
  file(MAKE_DIRECTORY ${work})
  set(ENV{PKG_CONFIG_PATH} "${libdir}/pkgconfig")
  run("pkg-config --modversion" ${pkg_config} --modversion brindlexcore)
  string(STRIP "${run_output}" version)
  if(NOT version STREQUAL BDX_VERSION)
    message(FATAL_ERROR "pkg-config gives version ${version}, the library is ${BDX_VERSION}")
  endif()
  # The prefix is the one given to cmake --install, not the one configured: a stale install elsewhere
  # must not be what the consumer builds against.
  run("pkg-config --variable=prefix" ${pkg_config} --variable=prefix brindlexcore)
  string(STRIP "${run_output}" pc_prefix)
  if(NOT pc_prefix STREQUAL prefix)
    message(FATAL_ERROR "brindlexcore.pc names the prefix ${pc_prefix}, it was installed into ${prefix}")
  endif()
  # A static library brings its own dependencies only with --static, as pkg-config has it.
  set(static)
  set(rpath)
  if(BDX_STATIC)
    set(static --static)
  else()
    set(rpath -Wl,-rpath,${libdir})
  endif()
  run("pkg-config --cflags --libs" ${pkg_config} --cflags --libs ${static} brindlexcore)
  # Read back as a shell (or make) reads the command line it is pasted into.
  separate_arguments(package_flags UNIX_COMMAND "${run_output}")
  separate_arguments(cxx_flags UNIX_COMMAND "${BDX_CXX_FLAGS}")
  separate_arguments(link_flags UNIX_COMMAND "${BDX_LINK_FLAGS}")
  run("compiling the consumer with pkg-config's flags"
      ${launcher} ${BDX_CXX_COMPILER} -std=c++20 ${cxx_flags} ${BDX_CONSUMER_SOURCE_DIR}/main.cpp
      ${package_flags} ${link_flags} ${rpath} -o ${work}/consumer)
  run_consumer(${work}/consumer pkg_config)

else()
  message(FATAL_ERROR "unknown step '${BDX_STEP}'")
endif()
