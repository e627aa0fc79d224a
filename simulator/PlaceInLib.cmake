# Puts the simulated board at TO, where the program looks for the board library. The maker's library
# may have been put there instead, and that one is never touched:
#   cmake -DFROM=<simulated board> -DTO=<place> -P PlaceInLib.cmake

# if(EXISTS) takes a file that cannot be read, and a link that leads nowhere, for nothing.
execute_process(COMMAND test -e "${TO}" -o -L "${TO}" RESULT_VARIABLE absent)
if(absent EQUAL 0)
    set(mark "")
    execute_process(COMMAND test -f "${TO}" -a -r "${TO}" RESULT_VARIABLE unreadable)
    if(unreadable EQUAL 0)
        file(STRINGS "${TO}" mark REGEX "Tovalink simulated board" LIMIT_COUNT 1)
    endif()
    if(NOT mark)
        message(STATUS "${TO} is not the simulated board: left alone")
        return()
    endif()
    execute_process(COMMAND ${CMAKE_COMMAND} -E compare_files "${FROM}" "${TO}"
                    RESULT_VARIABLE different OUTPUT_QUIET ERROR_QUIET)
    if(different EQUAL 0)
        return()
    endif()
endif()

# Renamed into place: a program that has the old one loaded keeps it, and a link is replaced instead
# of what it leads to.
get_filename_component(folder "${TO}" DIRECTORY)
file(MAKE_DIRECTORY "${folder}")
execute_process(COMMAND ${CMAKE_COMMAND} -E copy "${FROM}" "${TO}.new" RESULT_VARIABLE failed)
if(NOT failed EQUAL 0)
    message(FATAL_ERROR "${TO}.new cannot be written")
endif()
file(RENAME "${TO}.new" "${TO}")
