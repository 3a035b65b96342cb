# The same sources as a 64-bit Windows program: the build the tests run under 64-bit Wine.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)
set(TLPDF_TRIPLE x86_64-w64-mingw32)
set(CMAKE_C_COMPILER   ${TLPDF_TRIPLE}-gcc-posix)
set(CMAKE_CXX_COMPILER ${TLPDF_TRIPLE}-g++-posix)
set(CMAKE_RC_COMPILER  ${TLPDF_TRIPLE}-windres)
set(CMAKE_FIND_ROOT_PATH /usr/${TLPDF_TRIPLE})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
# Test executables run through the rig's Wine wrapper.
set(CMAKE_CROSSCOMPILING_EMULATOR ${CMAKE_CURRENT_LIST_DIR}/../tests/rig/wine-run.sh)
