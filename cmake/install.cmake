# What an installed copy holds beyond the programs' own install rules, laid out as Debian
# wants it: manual pages gzip-compressed, the copyright and changelog under
# share/doc/k7310console, the AppStream metadata beside the desktop entry. Included after
# every program's folder, so that programs and files that may be missing from this tree
# (k7310ctl, its manual page and bash completion) are installed exactly when they exist.
#
# The target k7310_installed builds everything the install rules copy; scripts/package.sh
# builds it alone before CPack installs.

set(k7310_doc_dir ${CMAKE_INSTALL_DATADIR}/doc/k7310console)
set(k7310_compressed_dir ${CMAKE_BINARY_DIR}/compressed)

set(k7310_metainfo ${PROJECT_SOURCE_DIR}/desktop/org.example.k7310console.metainfo.xml)

# The changelog's latest entry and the metadata's latest release are the version being
# packaged.
file(STRINGS ${PROJECT_SOURCE_DIR}/debian/changelog k7310_changelog_top LIMIT_COUNT 1)
string(REGEX MATCH "^k7310console \\(([^)]*)\\)" k7310_match "${k7310_changelog_top}")
set(k7310_changelog_version "${CMAKE_MATCH_1}")
file(READ ${k7310_metainfo} k7310_metainfo_text)
string(REGEX MATCH "<release version=\"([^\"]*)\"" k7310_match "${k7310_metainfo_text}")
set(k7310_release_version "${CMAKE_MATCH_1}")
if(NOT k7310_changelog_version STREQUAL PROJECT_VERSION OR
   NOT k7310_release_version STREQUAL PROJECT_VERSION)
    message(FATAL_ERROR "Version ${PROJECT_VERSION}: debian/changelog's latest entry is "
                        "'${k7310_changelog_version}', the metadata's latest release is "
                        "'${k7310_release_version}'")
endif()

# gzip -9n: the strongest compression, and no file name or time stamp, so that two builds of
# the same sources give the same bytes.
set(k7310_compressed)
function(k7310_compress source)
    get_filename_component(name ${source} NAME)
    set(copy ${k7310_compressed_dir}/${name})
    add_custom_command(OUTPUT ${copy}.gz
        COMMAND ${CMAKE_COMMAND} -E make_directory ${k7310_compressed_dir}
        COMMAND ${CMAKE_COMMAND} -E copy ${source} ${copy}
        COMMAND gzip -9nf ${copy}
        DEPENDS ${source}
        COMMENT "Compressing ${name}"
        VERBATIM)
    set(k7310_compressed ${k7310_compressed} ${copy}.gz PARENT_SCOPE)
endfunction()

set(k7310_manual_pages ${PROJECT_SOURCE_DIR}/desktop/k7310console.1
                       ${PROJECT_SOURCE_DIR}/sim/k7310sim.1 ${PROJECT_SOURCE_DIR}/src/ctl/k7310ctl.1)
foreach(page IN LISTS k7310_manual_pages)
    k7310_compress(${page})
    get_filename_component(name ${page} NAME)
    install(FILES ${k7310_compressed_dir}/${name}.gz DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
endforeach()

# A native package's changelog is changelog.gz; the copyright file stays uncompressed.
k7310_compress(${PROJECT_SOURCE_DIR}/debian/changelog)
install(FILES ${k7310_compressed_dir}/changelog.gz ${PROJECT_SOURCE_DIR}/debian/copyright
        DESTINATION ${k7310_doc_dir})

install(FILES ${k7310_metainfo} DESTINATION ${CMAKE_INSTALL_DATADIR}/metainfo)

add_custom_target(k7310_compressed ALL DEPENDS ${k7310_compressed})
add_custom_target(k7310_installed)
add_dependencies(k7310_installed k7310_compressed k7310console k7310sim k7310ctl k7310_datafile
                 k7310_help)
