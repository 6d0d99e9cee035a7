# What `cmake --install` installs and where: the bundle in the prefix, and files for the desktop and
# for polkit in the places where these look for them.
#
# Files are copied unchanged, because changing the run path or the symbols of a signed file would
# break its signature. Only root may be able to write to them.

if(CMAKE_INSTALL_PREFIX_INITIALIZED_TO_DEFAULT)
    set(CMAKE_INSTALL_PREFIX /opt/Veltra CACHE PATH "Where the bundle is installed" FORCE)
endif()
set(CMAKE_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)

set(bundle VeltraAgentStatusMonitor.app)
set(contents "${CMAKE_BINARY_DIR}/${bundle}/Contents")
install(PROGRAMS $<TARGET_FILE:VeltraAgentStatusMonitor> $<TARGET_FILE:veltra-admin-tool>
        DESTINATION ${bundle}/Contents/Linux)
install(PROGRAMS $<TARGET_FILE:com.veltra.agentMonitor.helper>
        DESTINATION ${bundle}/Contents/Library/LaunchServices)
install(FILES "${contents}/Info.plist" DESTINATION ${bundle}/Contents)
install(DIRECTORY "${contents}/Resources" DESTINATION ${bundle}/Contents
        FILE_PERMISSIONS OWNER_READ OWNER_WRITE GROUP_READ WORLD_READ)

# Two files contain paths in the prefix, which is known only at installation. polkit compares the
# tool's path with the one that it is started by, which contains no symbolic links.
set(configured "${CMAKE_BINARY_DIR}/installation")
install(CODE "
    file(REAL_PATH \"\${CMAKE_INSTALL_PREFIX}\" prefix)
    set(programs \"\${prefix}/${bundle}/Contents/Linux\")
    set(veltra_admin_tool \"\${programs}/veltra-admin-tool\")
    set(veltra_monitor \"\${programs}/VeltraAgentStatusMonitor\")
    configure_file(\"${CMAKE_SOURCE_DIR}/resources/polkit/com.veltra.agentMonitor.policy.in\"
                   \"${configured}/com.veltra.agentMonitor.policy\" @ONLY)
    configure_file(\"${CMAKE_SOURCE_DIR}/resources/com.veltra.vxStatusMonitorApp.desktop.in\"
                   \"${configured}/com.veltra.vxStatusMonitorApp.desktop\" @ONLY)")
install(FILES "${configured}/com.veltra.agentMonitor.policy"
        DESTINATION /usr/share/polkit-1/actions)
install(FILES "${configured}/com.veltra.vxStatusMonitorApp.desktop"
        DESTINATION /usr/share/applications)
install(FILES "${CMAKE_SOURCE_DIR}/resources/com.veltra.vxStatusMonitorApp.svg"
        DESTINATION /usr/share/icons/hicolor/scalable/apps)
