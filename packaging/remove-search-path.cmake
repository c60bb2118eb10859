# Run by cpack over what goes into the packages: below /usr the system finds the library, and Debian's
# policy wants no program to look for it in another way.
file(GLOB programs "${CPACK_TEMPORARY_INSTALL_DIRECTORY}/*/usr/bin/*")
foreach(program IN LISTS programs)
  file(RPATH_REMOVE FILE "${program}")
endforeach()
