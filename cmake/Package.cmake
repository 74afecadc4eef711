# The Debian package, built by CPack from an existing build (scripts/package).
# The dependencies on system libraries are computed with dpkg-shlibdeps from
# the binaries themselves, so they follow whatever Qt the build used.
# The installed programs resolve every symbol at start-up and then make their
# relocation tables read-only.
foreach(program practorium practorium-exam practorium-courier)
    target_link_options(${program} PRIVATE LINKER:-z,relro,-z,now)
endforeach()

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME practorium)
set(CPACK_PACKAGE_VENDOR "The Practorium developers")
set(CPACK_PACKAGE_CONTACT "The Practorium developers <maintainers@practorium.example>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "practice-exam simulator")
set(CPACK_PACKAGE_DIRECTORY ${CMAKE_BINARY_DIR}/package)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_MAINTAINER "${CPACK_PACKAGE_CONTACT}")
set(CPACK_DEBIAN_PACKAGE_SECTION education)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_HOMEPAGE "https://www.practorium.example/")
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
# Qt's platform plugins are loaded at run time, so dpkg-shlibdeps cannot see
# them; without one the program cannot open a window.
set(CPACK_DEBIAN_PACKAGE_DEPENDS "qt6-qpa-plugins, libqt6sql6-sqlite")
# CPack puts the summary on the first line and indents these lines; an empty
# line becomes the paragraph break " .".
set(CPACK_DEBIAN_PACKAGE_DESCRIPTION "Practorium lets a candidate sit practice exams under exam conditions: one
item at a time, single- and multiple-answer items, exhibits, marks for
later, a countdown clock, a review list and a printable score report. After
the exam the items can be stepped through with the key and an explanation.

The package also holds practorium-exam, which builds exam files and packs
from JSON, and practorium-courier, a reference download service for trying
the download window locally.")
include(CPack)
