# Read by cpack before it packs. The package takes its dates from here, unless whoever packs asks for others.
if(NOT DEFINED ENV{SOURCE_DATE_EPOCH})
  execute_process(COMMAND date --utc "--date=${CPACK_LARKFOLD_RELEASE_TIME}" +%s
                  OUTPUT_VARIABLE seconds OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
  set(ENV{SOURCE_DATE_EPOCH} ${seconds})
endif()
