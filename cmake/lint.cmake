# In the preset `lint`, "compiling" is reading a source with clang-tidy, which makes an empty object file. The rest is
# CMake's and Ninja's own: a source is read again when it, a header that it includes, its flags or the rules have
# changed.
if(NOT CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
  macro(lint_from_here)
  endmacro()
  return()
endif()

set(touch "<CMAKE_COMMAND> -E touch")
set(CMAKE_CXX_LINK_EXECUTABLE "${touch} <TARGET>")
set(CMAKE_CXX_CREATE_SHARED_MODULE "${touch} <TARGET>")
set(CMAKE_CXX_CREATE_STATIC_LIBRARY "${touch} <TARGET>")

# What was added before is not ours to read.
set(CMAKE_DEPFILE_FLAGS_CXX "-Wp,-MD,<DEP_FILE>")
set(CMAKE_CXX_COMPILE_OBJECT "${touch} <DEP_FILE> <OBJECT>")
# The analyzer does not follow calls into the standard library: that would take half as long again, and find no more.
set(analyzer "-Xclang -analyzer-config -Xclang c++-stdlib-inlining=false")
macro(lint_from_here)
  # A changed rule changes every command.
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS .clang-tidy tests/.clang-tidy)
  file(SHA1 ${CMAKE_SOURCE_DIR}/.clang-tidy rules)
  file(SHA1 ${CMAKE_SOURCE_DIR}/tests/.clang-tidy rules_of_tests)
  set(CMAKE_CXX_COMPILE_OBJECT
      "clang-tidy --quiet <SOURCE> -- <CMAKE_CXX_COMPILER> <DEFINES> <INCLUDES> <FLAGS> ${analyzer} -DLINT_RULES=${rules}${rules_of_tests}"
      "${touch} <OBJECT>")
endmacro()
