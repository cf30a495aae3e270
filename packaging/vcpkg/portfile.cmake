# scripts/release.sh fills in the tarball's version, place and digest.
vcpkg_download_distfile(tarball
  URLS "@URL@/qel_unit-@VERSION@.tar.gz"
  FILENAME "qel_unit-@VERSION@.tar.gz"
  SHA512 @SHA512@)
vcpkg_extract_source_archive(SOURCE_PATH ARCHIVE "${tarball}")

vcpkg_cmake_configure(
  SOURCE_PATH "${SOURCE_PATH}"
  OPTIONS -DBUILD_TESTING=OFF -DQEL_UNIT_TOOLS=OFF)
vcpkg_cmake_install()
vcpkg_cmake_config_fixup(PACKAGE_NAME qel_unit CONFIG_PATH lib/cmake/qel_unit)
vcpkg_fixup_pkgconfig()

file(REMOVE_RECURSE "${CURRENT_PACKAGES_DIR}/debug/include" "${CURRENT_PACKAGES_DIR}/debug/share"
  "${CURRENT_PACKAGES_DIR}/share/doc")
vcpkg_install_copyright(FILE_LIST "${SOURCE_PATH}/LICENSE")
