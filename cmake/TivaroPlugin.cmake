# tivaro_add_plugin(<target>
#     NAME <plug-in name>              "pluginName": the name the plug-in is known by everywhere
#     CLASS <principal class>          exported from a source with TIVARO_EXPORT_CLASS(<class>)
#     IDENTIFIER <bundle identifier>   "CFBundleIdentifier", also names the plug-in's preferences file
#     [VERSION <version>]              "pluginVersion", e.g. 1.2.0
#     [BUNDLE_NAME <folder name>]      the bundle is <BUNDLE_NAME>.<BUNDLE_EXTENSION>; default: NAME
#     [BUNDLE_EXTENSION <extension>]   default: tvr
#     [OUTPUT_DIRECTORY <folder>]      default: the build tree's built-in plug-ins folder
#     [INFO_PLIST <template>]          an Info.plist of your own; @PLUGIN_NAME@, @PLUGIN_VERSION@,
#                                      @PLUGIN_CLASS@, @PLUGIN_IDENTIFIER@ and @PLUGIN_EXECUTABLE@ are filled in
#     [NO_INFO_PLIST]                  leave the Info.plist out (for tests of broken bundles)
#     [NO_INSTALL]                     do not install the bundle with the application
#     [RESOURCES <files>...]           copied into the bundle's Resources folder
#     SOURCES <files>...)
#
# Builds the bundle folder <OUTPUT_DIRECTORY>/<BUNDLE_NAME>.tvr holding Info.plist, Resources/ and the
# plug-in's shared library lib<target>.so, and installs it into <prefix>/lib/tivaro/PlugIns. The
# library names libtivaro without a path: the host that loads a plug-in has always loaded libtivaro.
# The framework looks for built-in plug-ins in <prefix>/lib/tivaro/PlugIns, whatever the library folder.
set(TIVARO_PLUGINS_INSTALL_DIR lib/tivaro/PlugIns)
set(TIVARO_BUILTIN_PLUGINS_DIR ${CMAKE_BINARY_DIR}/${TIVARO_PLUGINS_INSTALL_DIR})
set(TIVARO_PLUGIN_INFO_TEMPLATE ${CMAKE_CURRENT_LIST_DIR}/PluginInfo.plist.in)

function(tivaro_add_plugin target)
    cmake_parse_arguments(PLUGIN "NO_INFO_PLIST;NO_INSTALL"
        "NAME;CLASS;IDENTIFIER;VERSION;BUNDLE_NAME;BUNDLE_EXTENSION;OUTPUT_DIRECTORY;INFO_PLIST"
        "SOURCES;RESOURCES" ${ARGN})
    foreach(required NAME CLASS IDENTIFIER SOURCES)
        if(NOT PLUGIN_${required})
            message(FATAL_ERROR "tivaro_add_plugin(${target}): ${required} is required")
        endif()
    endforeach()
    if(NOT PLUGIN_BUNDLE_NAME)
        set(PLUGIN_BUNDLE_NAME "${PLUGIN_NAME}")
    endif()
    if(NOT PLUGIN_BUNDLE_EXTENSION)
        set(PLUGIN_BUNDLE_EXTENSION tvr)
    endif()
    if(NOT PLUGIN_OUTPUT_DIRECTORY)
        set(PLUGIN_OUTPUT_DIRECTORY ${TIVARO_BUILTIN_PLUGINS_DIR})
    endif()
    set(bundle "${PLUGIN_OUTPUT_DIRECTORY}/${PLUGIN_BUNDLE_NAME}.${PLUGIN_BUNDLE_EXTENSION}")

    add_library(${target} MODULE ${PLUGIN_SOURCES})
    target_link_libraries(${target} PRIVATE Tivaro::tivaro)
    set_target_properties(${target} PROPERTIES
        AUTOMOC ON
        PREFIX lib
        LIBRARY_OUTPUT_DIRECTORY "${bundle}"
        # The host has loaded libtivaro already; the plug-in only names it.
        SKIP_BUILD_RPATH ON
        INSTALL_RPATH "")

    if(NOT PLUGIN_NO_INFO_PLIST)
        set(has_version OFF)
        if(DEFINED PLUGIN_VERSION)
            set(has_version ON)
        endif()
        foreach(field NAME IDENTIFIER VERSION CLASS)
            string(REPLACE "&" "&amp;" PLUGIN_${field} "${PLUGIN_${field}}")
            string(REPLACE "<" "&lt;" PLUGIN_${field} "${PLUGIN_${field}}")
        endforeach()
        set(PLUGIN_EXECUTABLE "lib${target}.so")
        set(PLUGIN_PLIST_VERSION "")
        if(has_version)
            set(PLUGIN_PLIST_VERSION "\n    <key>pluginVersion</key>\n    <string>${PLUGIN_VERSION}</string>")
        endif()
        if(NOT PLUGIN_INFO_PLIST)
            set(PLUGIN_INFO_PLIST ${TIVARO_PLUGIN_INFO_TEMPLATE})
        endif()
        configure_file(${PLUGIN_INFO_PLIST} "${bundle}/Info.plist" @ONLY)
    endif()

    foreach(resource IN LISTS PLUGIN_RESOURCES)
        get_filename_component(resource_name "${resource}" NAME)
        configure_file("${resource}" "${bundle}/Resources/${resource_name}" COPYONLY)
    endforeach()

    if(NOT PLUGIN_NO_INSTALL)
        install(DIRECTORY "${bundle}" DESTINATION ${TIVARO_PLUGINS_INSTALL_DIR} PATTERN "*.so" EXCLUDE)
        install(TARGETS ${target} LIBRARY
            DESTINATION "${TIVARO_PLUGINS_INSTALL_DIR}/${PLUGIN_BUNDLE_NAME}.${PLUGIN_BUNDLE_EXTENSION}")
    endif()
endfunction()
