# Install helpers for the shipped binaries, included before the subdirectories that
# define them. The release is assembled by cmake/OstrelPackage.cmake.

# Installs a shipped binary into bin/ and records it: the last install step strips the
# installed copy and keeps its debug information apart (cmake/OstrelInstallFinish.cmake).
function(ostrel_install_binary target)
  install(PROGRAMS $<TARGET_FILE:${target}> DESTINATION bin)
  set_property(GLOBAL APPEND PROPERTY OSTREL_SHIPPED_BINARIES ${target})
endfunction()
