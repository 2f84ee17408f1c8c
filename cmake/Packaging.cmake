# What cpack makes packages of: a component each for the program and the simulated fleet. The rules that install are
# beside what they install; scripts/package makes the packages.

set(CPACK_PACKAGE_NAME nembrahub)
set(CPACK_PACKAGE_VERSION "${PROJECT_VERSION}")
set(CPACK_PACKAGE_VENDOR "${NEMBRA_ORGANIZATION}")
set(CPACK_PACKAGE_CONTACT "${NEMBRA_MAINTAINER}")
set(CPACK_PACKAGE_HOMEPAGE_URL "${PROJECT_HOMEPAGE_URL}")
# Otherwise that of the project stands above the one of each package.
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
# Whatever the umask of whoever builds them.
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)

set(CPACK_GENERATOR DEB)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_ALL program)
if(NEMBRA_SIMULATOR)
    list(APPEND CPACK_COMPONENTS_ALL simulator)
endif()
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE "${NEMBRA_DEBIAN_RELEASE}")
set(CPACK_DEBIAN_PACKAGE_SOURCE nembrahub)
# Its licence doesn't allow changes, so it is not free in Debian's sense.
set(CPACK_DEBIAN_PACKAGE_SECTION non-free/net)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)

set(CPACK_DEBIAN_PROGRAM_PACKAGE_NAME nembrahub)
set(CPACK_DEBIAN_PROGRAM_DESCRIPTION
"manager of a network's Nembra measuring devices
Nembra Hub finds the measuring devices of a network by a broadcast and lists
them with their readings and their state. It saves and sends configurations,
saves recorded histories, updates firmware, gives devices their addresses and
shows what they log, for a handful of devices as well as for thousands.")
# Opens the devices' own pages in the browser.
set(CPACK_DEBIAN_PROGRAM_PACKAGE_RECOMMENDS xdg-utils)
set(CPACK_DEBIAN_PROGRAM_PACKAGE_SUGGESTS nembra-simulator)

set(CPACK_DEBIAN_SIMULATOR_PACKAGE_NAME nembra-simulator)
set(CPACK_DEBIAN_SIMULATOR_DESCRIPTION
"simulated fleet of Nembra measuring devices
Any number of Nembra measuring devices in one process: they answer discovery,
serve their web pages, send syslog, and misbehave when told to. They start in a
private network, which this package also makes. With them one can try Nembra
Hub without owning a device.")
# nembra-private-network calls ip and sysctl.
set(CPACK_DEBIAN_SIMULATOR_PACKAGE_DEPENDS "iproute2, procps")
set(CPACK_DEBIAN_SIMULATOR_PACKAGE_SUGGESTS nembrahub)

include(CPack)
