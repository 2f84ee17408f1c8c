# NEMBRA_RELEASE_DATE: the day of the release as the changelog has it. Before the release that is the day of this
# configuration, or what SOURCE_DATE_EPOCH says; scripts/package sets it to the time of the last commit.

set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS "${PROJECT_SOURCE_DIR}/CHANGELOG.md")
string(REPLACE "." "\\." nembra_version_pattern "${PROJECT_VERSION}")
file(STRINGS "${PROJECT_SOURCE_DIR}/CHANGELOG.md" nembra_release_heading LIMIT_COUNT 1
    REGEX "^## \\[${nembra_version_pattern}\\] - [0-9]+-[0-9]+-[0-9]+$")
if(nembra_release_heading)
    string(REGEX REPLACE "^.* - " "" NEMBRA_RELEASE_DATE "${nembra_release_heading}")
else()
    string(TIMESTAMP NEMBRA_RELEASE_DATE "%Y-%m-%d" UTC)
endif()

# Who answers for the packages, and which of the packages of this version they are.
set(NEMBRA_MAINTAINER "Nembra Hub maintainers <maintainers@nembrahub.example>")
set(NEMBRA_DEBIAN_RELEASE 1)
set(NEMBRA_DEBIAN_VERSION "${PROJECT_VERSION}-${NEMBRA_DEBIAN_RELEASE}")
string(TIMESTAMP NEMBRA_DEBIAN_DATE "%a, %d %b %Y %H:%M:%S +0000" UTC)
