# Fails unless every translation holds exactly the texts of the program, each of them translated. Run from the
# top of the checkout:
#
#   cmake -P resources/translations/check.cmake
#
# lupdate works on copies, in build/lint/translations or wherever -D COPIES=DIRECTORY says; the committed files
# stay as they are. -D LUPDATE=PROGRAM names another lupdate.

cmake_minimum_required(VERSION 3.22)

get_filename_component(top "${CMAKE_CURRENT_LIST_DIR}/../.." ABSOLUTE)
if(NOT DEFINED COPIES)
    set(COPIES "${top}/build/lint/translations")
endif()
if(NOT DEFINED LUPDATE)
    find_program(LUPDATE NAMES lupdate lupdate-qt5)
endif()
if(NOT LUPDATE)
    message(FATAL_ERROR "The program lupdate is missing. On Debian: apt install qttools5-dev-tools")
endif()

# nembra_messages(RESULT FILE): one element "context|source|comment" for each message, sorted.
function(nembra_messages result file)
    file(READ "${file}" text)
    # What CMake's lists would take for their own; in XML no word begins like this.
    string(REPLACE ";" "&semicolon" text "${text}")
    string(REPLACE "[" "&left" text "${text}")
    string(REPLACE "]" "&right" text "${text}")
    string(REGEX MATCHALL "<(name|source|comment)>[^<]*</(name|source|comment)>|</message>" parts "${text}")
    set(messages "")
    foreach(part IN LISTS parts)
        if(part STREQUAL "</message>")
            list(APPEND messages "${context}|${source}|${comment}")
            set(comment "")
        elseif(part MATCHES "^<(name|source|comment)>(.*)</(name|source|comment)>$")
            if(CMAKE_MATCH_1 STREQUAL "name")
                set(context "${CMAKE_MATCH_2}")
            elseif(CMAKE_MATCH_1 STREQUAL "source")
                set(source "${CMAKE_MATCH_2}")
            else()
                set(comment "${CMAKE_MATCH_2}")
            endif()
        endif()
    endforeach()
    list(SORT messages)
    set(${result} "${messages}" PARENT_SCOPE)
endfunction()

function(nembra_report problem messages)
    foreach(message IN LISTS messages)
        string(REPLACE "&semicolon" ";" message "${message}")
        string(REPLACE "&left" "[" message "${message}")
        string(REPLACE "&right" "]" message "${message}")
        message(SEND_ERROR "${problem}: ${message}")
    endforeach()
endfunction()

file(GLOB translations "${CMAKE_CURRENT_LIST_DIR}/NembraHub_*.ts")
if(NOT translations)
    message(FATAL_ERROR "There are no translations in ${CMAKE_CURRENT_LIST_DIR}.")
endif()
file(REMOVE_RECURSE "${COPIES}")
file(MAKE_DIRECTORY "${COPIES}")
file(COPY ${translations} DESTINATION "${COPIES}")

foreach(translation IN LISTS translations)
    get_filename_component(name "${translation}" NAME)
    set(copy "${COPIES}/${name}")
    execute_process(
        COMMAND "${LUPDATE}" -silent src -locations none -no-obsolete -ts "${copy}"
        WORKING_DIRECTORY "${top}"
        OUTPUT_VARIABLE output
        ERROR_VARIABLE output
        RESULT_VARIABLE status)
    if(NOT status EQUAL 0)
        message(FATAL_ERROR "lupdate failed:\n${output}")
    endif()

    nembra_messages(committed "${translation}")
    nembra_messages(current "${copy}")
    set(added ${current})
    list(REMOVE_ITEM added ${committed})
    set(gone ${committed})
    list(REMOVE_ITEM gone ${current})
    nembra_report("${name} lacks a text of the program" "${added}")
    nembra_report("${name} holds a text that the program no longer has" "${gone}")

    file(READ "${translation}" text)
    if(text MATCHES "<translation type=|<translation></translation>|<translation/>|<numerusform></numerusform>")
        message(SEND_ERROR "${name} has a text that isn't translated, or one that is no longer used.")
    endif()
    list(LENGTH current count)
    message(STATUS "${name}: ${count} texts")
endforeach()
