# `make package`: a Debian package of the app and norvane-redact, built by CPack.

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME norvane)
set(CPACK_PACKAGE_VENDOR "The Norvane developers")
set(CPACK_PACKAGE_CONTACT "The Norvane developers <maintainers@norvane.example>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "remove sensitive information from PDF files on this computer")
set(CPACK_PACKAGE_DESCRIPTION
    "Norvane marks what must go in a PDF (boxes, text search, on-device OCR\n\
search and patterns of personal data) and writes a secure copy rebuilt from\n\
the pages' pixels, then checks that every searched term is gone. It also\n\
lists what a received PDF hides. Nothing leaves the computer.\n\
.\n\
This package holds the desktop app and the norvane-redact command.")
set(CPACK_PACKAGE_HOMEPAGE_URL "${NORVANE_WEBSITE_URL}")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)

set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION graphics)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
# What the libraries do not pull in: Qt's window-system plugins and the recognition models.
set(CPACK_DEBIAN_PACKAGE_DEPENDS "qt6-qpa-plugins, tesseract-ocr-eng, tesseract-ocr-osd")
# The languages scripts/install-deps installs besides English.
file(STRINGS ${PROJECT_SOURCE_DIR}/scripts/install-deps NORVANE_DEPS_LINES REGEX "tesseract-ocr-")
string(REGEX MATCHALL "tesseract-ocr-[a-z_]+" NORVANE_OCR_PACKAGES "${NORVANE_DEPS_LINES}")
list(REMOVE_ITEM NORVANE_OCR_PACKAGES tesseract-ocr-eng tesseract-ocr-osd)
list(REMOVE_DUPLICATES NORVANE_OCR_PACKAGES)
list(JOIN NORVANE_OCR_PACKAGES ", " CPACK_DEBIAN_PACKAGE_RECOMMENDS)

# Debian wants a copyright file and a compressed changelog in the package's doc folder.
set(NORVANE_DOC_DIR share/doc/${CPACK_PACKAGE_NAME})
execute_process(COMMAND date -u -R -d "${NORVANE_RELEASE_DATE} 12:00"
                OUTPUT_VARIABLE NORVANE_CHANGELOG_DATE OUTPUT_STRIP_TRAILING_WHITESPACE)
configure_file(${PROJECT_SOURCE_DIR}/packaging/changelog.in ${PROJECT_BINARY_DIR}/packaging/changelog @ONLY)
add_custom_command(OUTPUT ${PROJECT_BINARY_DIR}/packaging/changelog.gz
  COMMAND gzip -9nkf ${PROJECT_BINARY_DIR}/packaging/changelog
  DEPENDS ${PROJECT_BINARY_DIR}/packaging/changelog)
add_custom_target(norvane-changelog ALL DEPENDS ${PROJECT_BINARY_DIR}/packaging/changelog.gz)
install(FILES ${PROJECT_SOURCE_DIR}/packaging/copyright DESTINATION ${NORVANE_DOC_DIR})
install(FILES ${PROJECT_BINARY_DIR}/packaging/changelog.gz DESTINATION ${NORVANE_DOC_DIR})

include(CPack)
