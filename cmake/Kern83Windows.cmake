# The Windows build (MinGW-w64, cmake/mingw-w64-x86_64.cmake, preset mingw): what stands in for the
# Debian packages the Linux build finds, and where the programs go.
#   ICU         tables generated from the host's ICU behind ICU's names (icu-tables/, docs/windows.md)
#   CLI11       header-only: the host's headers, the folder CLI/ alone on the include path
#   GoogleTest  built from Debian's source package (googletest, /usr/src/googletest) in the build tree
# Programs and DLLs all go to bin/, beside the compiler's runtime DLLs, so that they run as they are.
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/bin)
set(CMAKE_SHARED_LIBRARY_PREFIX "")  # kern83.dll and nexa83.dll; their import libraries keep "lib"
foreach(dll libstdc++-6.dll libgcc_s_seh-1.dll libwinpthread-1.dll)
  execute_process(COMMAND ${CMAKE_CXX_COMPILER} -print-file-name=${dll}
                  OUTPUT_VARIABLE path OUTPUT_STRIP_TRAILING_WHITESPACE)
  if(NOT EXISTS "${path}")
    message(FATAL_ERROR "The compiler's runtime ${dll} is missing (scripts/install-deps --windows)")
  endif()
  file(COPY ${path} DESTINATION ${CMAKE_RUNTIME_OUTPUT_DIRECTORY})
endforeach()

# Windows 7 is the oldest system with every call the platform layer makes without a run-time lookup.
add_compile_definitions(_WIN32_WINNT=0x0601 WIN32_LEAN_AND_MEAN NOMINMAX)

file(MAKE_DIRECTORY ${PROJECT_BINARY_DIR}/host-include)
file(CREATE_LINK /usr/include/CLI ${PROJECT_BINARY_DIR}/host-include/CLI SYMBOLIC)
add_library(CLI11::CLI11 INTERFACE IMPORTED)
target_include_directories(CLI11::CLI11 INTERFACE ${PROJECT_BINARY_DIR}/host-include)

if(KERN83_BUILD_TESTS)
  set(INSTALL_GTEST OFF CACHE BOOL "" FORCE)
  add_subdirectory(/usr/src/googletest ${PROJECT_BINARY_DIR}/googletest EXCLUDE_FROM_ALL SYSTEM)
  foreach(name gtest gtest_main gmock)
    if(NOT TARGET GTest::${name})
      add_library(GTest::${name} ALIAS ${name})
    endif()
  endforeach()
endif()
