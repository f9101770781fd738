# Run by cpack after it wrote the archive: the debug files of the shipped binaries go
# next to it, into <archive name>-debug/, one <binary>.debug per binary.
set(debug_folder ${CPACK_PACKAGE_DIRECTORY}/${CPACK_PACKAGE_FILE_NAME}-debug)
file(REMOVE_RECURSE ${debug_folder})
file(GLOB debug_files ${CPACK_OSTREL_DEBUG_DIR}/*.debug)
file(COPY ${debug_files} DESTINATION ${debug_folder}
     FILE_PERMISSIONS OWNER_READ OWNER_WRITE GROUP_READ WORLD_READ)
message(STATUS "Debug files: ${debug_folder}")
