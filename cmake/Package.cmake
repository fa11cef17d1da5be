# `make package`: a Debian package of what `cmake --install` puts in place, under /usr. Its
# dependencies are read by dpkg-shlibdeps from the shared libraries the programs link, so that
# `apt install ./velmo_*.deb` on a fresh system brings everything Velmo needs to run.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME velmo)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "synthesizer studio that an AI agent composes with")
set(CPACK_PACKAGE_DESCRIPTION
    "Velmo is a synthesizer studio with seven synth engines, nine insert effects and a
timeline of clips, driven by an AI agent through an MCP server on the loopback interface
while a person hears and edits the same song. It renders songs offline and reports levels,
clipping and band energy in numbers, since an agent cannot listen. velmo-mcp connects MCP
clients that speak over standard input and output.")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_MAINTAINER "Velmo maintainers")
set(CPACK_DEBIAN_PACKAGE_SECTION sound)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
# The window needs Qt's platform plugins, which no library links and so no library brings.
set(CPACK_DEBIAN_PACKAGE_DEPENDS "qt6-qpa-plugins")
include(CPack)
