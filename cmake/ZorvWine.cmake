# Sets the cross build's wine prefix up as part of the build, so that test runs
# start with a finished prefix: the first start of wine creates and updates
# one, which takes a while and goes on in the background.
if(NOT CMAKE_CROSSCOMPILING OR NOT ZORV_WINE OR NOT ZORV_WINESERVER OR NOT ZORV_WINEPREFIX)
  return()
endif()

set(ZORV_WINEPREFIX_STAMP ${ZORV_WINEPREFIX}/.zorv-ready)
add_custom_command(OUTPUT ${ZORV_WINEPREFIX_STAMP}
  COMMAND ${CMAKE_CROSSCOMPILING_EMULATOR} wineboot --init
  # Returns once the prefix's wineserver has stopped, i.e. the set-up is done.
  COMMAND ${CMAKE_COMMAND} -E env WINEPREFIX=${ZORV_WINEPREFIX} ${ZORV_WINESERVER} -w
  COMMAND ${CMAKE_COMMAND} -E touch ${ZORV_WINEPREFIX_STAMP}
  COMMENT "Setting up the wine prefix ${ZORV_WINEPREFIX}"
  VERBATIM)
add_custom_target(zorv_wineprefix ALL DEPENDS ${ZORV_WINEPREFIX_STAMP})
