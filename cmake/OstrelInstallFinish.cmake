# The last install step (run by cmake_install.cmake, inside cpack too). For every shipped
# binary: its debug information goes to OSTREL_DEBUG_DIR/<name>.debug, and the installed
# copy is rewritten from the build's file without symbols or debug sections, naming that
# debug file (with its CRC) in a .gnu_debuglink section, where gdb and binutils look for
# it. Then SHA256SUMS lists every installed file, in the format of sha256sum.
# Expects OSTREL_SHIPPED_FILES, OSTREL_DEBUG_DIR and OSTREL_OBJCOPY.

function(ostrel_split_debug_information root)
  file(REMOVE_RECURSE ${OSTREL_DEBUG_DIR})
  file(MAKE_DIRECTORY ${OSTREL_DEBUG_DIR})
  foreach(built ${OSTREL_SHIPPED_FILES})
    get_filename_component(name ${built} NAME)
    set(debug ${OSTREL_DEBUG_DIR}/${name}.debug)
    message(STATUS "Stripping: ${root}/bin/${name} (debug information in ${debug})")
    execute_process(COMMAND ${OSTREL_OBJCOPY} --only-keep-debug ${built} ${debug}
                    COMMAND_ERROR_IS_FATAL ANY)
    execute_process(COMMAND ${OSTREL_OBJCOPY} --strip-all --add-gnu-debuglink=${debug}
                            ${built} ${root}/bin/${name}
                    COMMAND_ERROR_IS_FATAL ANY)
  endforeach()
endfunction()

# Sorted relative paths, forward slashes, two blanks: `sha256sum -c SHA256SUMS` checks it.
# The manifest names the files under the prefix, without DESTDIR.
function(ostrel_write_checksums root)
  set(relative)
  foreach(installed ${CMAKE_INSTALL_MANIFEST_FILES})
    file(RELATIVE_PATH path ${CMAKE_INSTALL_PREFIX} ${installed})
    list(APPEND relative ${path})
  endforeach()
  list(REMOVE_ITEM relative SHA256SUMS)
  list(REMOVE_DUPLICATES relative)
  list(SORT relative)
  set(sums "")
  foreach(path ${relative})
    file(SHA256 ${root}/${path} hash)
    string(APPEND sums "${hash}  ${path}\n")
  endforeach()
  message(STATUS "Writing: ${root}/SHA256SUMS")
  file(WRITE ${root}/SHA256SUMS "${sums}")
endfunction()

set(_ostrel_root "$ENV{DESTDIR}${CMAKE_INSTALL_PREFIX}")
ostrel_split_debug_information(${_ostrel_root})
ostrel_write_checksums(${_ostrel_root})
list(APPEND CMAKE_INSTALL_MANIFEST_FILES ${CMAKE_INSTALL_PREFIX}/SHA256SUMS)
