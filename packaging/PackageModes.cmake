# Read by cpack when the files of the package lie ready. Folders get the mode of a system's folders, whatever the umask of
# whoever packs is: the variable that is meant for that has no effect on the generator of Debian packages.
execute_process(COMMAND find "${CPACK_TEMPORARY_INSTALL_DIRECTORY}" -mindepth 1 -type d -exec chmod 755 {} +
                COMMAND_ERROR_IS_FATAL ANY)
