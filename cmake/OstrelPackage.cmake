# The release: what `cmake --install` and cpack put into Ostrel-<version>-win64.zip.
#   bin/      Ostrel.dll, ZorvDbg64.dll, ostrel-host.exe, xentool.exe: stripped, each
#             naming its debug file in a .gnu_debuglink section
#   include/  the public headers            lib/      Ostrel's import library and .def
#   schemas/  examples/ (plain documents, target profiles)   docs/   SHA256SUMS
# The debug information of every shipped binary goes to <name>.debug in
# OSTREL_DEBUG_DIR; cpack copies those files next to the archive, into
# Ostrel-<version>-win64-debug/. Included at the end of the top-level CMakeLists.txt,
# so that its last step runs after every other install rule.

install(FILES
  ${PROJECT_SOURCE_DIR}/include/Ostrel.h
  ${PROJECT_SOURCE_DIR}/include/OstrelResult.h
  ${PROJECT_SOURCE_DIR}/include/SrvFrwk_Interface.h
  ${PROJECT_SOURCE_DIR}/include/ZorvDbg.h
  DESTINATION include)
install(DIRECTORY ${PROJECT_SOURCE_DIR}/schemas/ DESTINATION schemas
        FILES_MATCHING PATTERN "*.xsd")
install(DIRECTORY ${PROJECT_SOURCE_DIR}/examples/ DESTINATION examples
        FILES_MATCHING PATTERN "*.xml" PATTERN "*.ini")
install(FILES ${PROJECT_SOURCE_DIR}/README.md ${PROJECT_SOURCE_DIR}/docs/behaviour.md
              ${PROJECT_SOURCE_DIR}/docs/security.md ${PROJECT_SOURCE_DIR}/docs/trace-library.md
        DESTINATION docs)

# Last: strip the binaries, split their debug information, write SHA256SUMS.
set(OSTREL_DEBUG_DIR ${PROJECT_BINARY_DIR}/debug-info)
get_property(shipped GLOBAL PROPERTY OSTREL_SHIPPED_BINARIES)
set(shipped_files)
foreach(target ${shipped})
  list(APPEND shipped_files $<TARGET_FILE:${target}>)
endforeach()
install(CODE "
  set(OSTREL_SHIPPED_FILES \"${shipped_files}\")
  set(OSTREL_DEBUG_DIR \"${OSTREL_DEBUG_DIR}\")
  set(OSTREL_OBJCOPY \"${CMAKE_OBJCOPY}\")
  include(\"${CMAKE_CURRENT_LIST_DIR}/OstrelInstallFinish.cmake\")")

set(CPACK_GENERATOR ZIP)
set(CPACK_PACKAGE_NAME Ostrel)
set(CPACK_PACKAGE_VENDOR Ulvenhart)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_SYSTEM_NAME win64)
set(CPACK_PACKAGE_FILE_NAME ${CPACK_PACKAGE_NAME}-${CPACK_PACKAGE_VERSION}-${CPACK_SYSTEM_NAME})
set(CPACK_PACKAGE_CHECKSUM SHA256)
set(CPACK_OSTREL_DEBUG_DIR ${OSTREL_DEBUG_DIR})
set(CPACK_POST_BUILD_SCRIPTS ${CMAKE_CURRENT_LIST_DIR}/OstrelPackageDebug.cmake)
include(CPack)

# The four shipped binaries alone, for scripts/package.sh.
add_custom_target(shipped)
add_dependencies(shipped ${shipped})
