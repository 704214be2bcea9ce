# Cross build for 64-bit Windows with mingw-w64 (the posix thread model, for
# std::thread and std::mutex), programs run under wine.
#   cmake -S . -B build/windows -G Ninja -DCMAKE_TOOLCHAIN_FILE=cmake/mingw-w64-x86_64.cmake
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)

set(ZORV_MINGW_TRIPLE x86_64-w64-mingw32)
set(CMAKE_C_COMPILER ${ZORV_MINGW_TRIPLE}-gcc-posix)
set(CMAKE_CXX_COMPILER ${ZORV_MINGW_TRIPLE}-g++-posix)
set(CMAKE_RC_COMPILER ${ZORV_MINGW_TRIPLE}-windres)

set(CMAKE_FIND_ROOT_PATH /usr/${ZORV_MINGW_TRIPLE})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# The runtime (libgcc, libstdc++, winpthread) is linked into every program and
# DLL, so that nothing but the project's own DLLs has to sit beside them.
set(CMAKE_EXE_LINKER_FLAGS_INIT "-static -static-libgcc -static-libstdc++")
set(CMAKE_SHARED_LINKER_FLAGS_INIT "-static -static-libgcc -static-libstdc++")
set(CMAKE_MODULE_LINKER_FLAGS_INIT "-static -static-libgcc -static-libstdc++")

# Programs (tests, test discovery, examples) run under wine, quietly and with
# a wine prefix of their own inside the build tree, through zorv-wine.sh: it
# keeps one persistent wine server up while programs start (see there and
# ZorvWine.cmake). The first start creates the prefix, which takes a while;
# mono and gecko are not wanted there.
find_program(ZORV_WINE NAMES wine64 wine PATHS /usr/lib/wine /usr/lib64/wine)
find_program(ZORV_WINESERVER NAMES wineserver64 wineserver PATHS /usr/lib/wine /usr/lib64/wine)
if(ZORV_WINE AND ZORV_WINESERVER)
  if(NOT ZORV_WINEPREFIX)
    set(ZORV_WINEPREFIX ${CMAKE_BINARY_DIR}/wineprefix)
  endif()
  set(ZORV_WINE_SCRIPT ${CMAKE_CURRENT_LIST_DIR}/zorv-wine.sh)
  set(ZORV_WINE_ENV
    ${CMAKE_COMMAND} -E env
    WINEPREFIX=${ZORV_WINEPREFIX}
    WINESERVER=${ZORV_WINESERVER}
    WINEDEBUG=-all
    WINEDLLOVERRIDES=mscoree,mshtml=)
  set(CMAKE_CROSSCOMPILING_EMULATOR ${ZORV_WINE_ENV} sh ${ZORV_WINE_SCRIPT} run ${ZORV_WINE})
endif()
