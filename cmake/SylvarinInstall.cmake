# sylvarin_install_program(TARGET), sylvarin_install_archive(TARGET INSTALL-ARGUMENT...)
#
# What is installed carries no debug information. That of a program lies beside it, in .debug/NAME.debug, where gdb and
# lldb look for it; who does not need it leaves the files out.
include_guard()

option(SYLVARIN_SPLIT_DEBUG "Strip what is installed, and keep the debug information beside it" ON) # packagers do it their way

function(sylvarin_install_program TARGET)
    install(TARGETS ${TARGET} RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
    if(NOT CMAKE_OBJCOPY OR NOT SYLVARIN_SPLIT_DEBUG)
        return()
    endif()
    install(CODE "
        set(directory \"\$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_BINDIR}\")
        file(MAKE_DIRECTORY \"\${directory}/.debug\")
        foreach(arguments
                \"--only-keep-debug;$<TARGET_FILE_NAME:${TARGET}>;.debug/$<TARGET_FILE_NAME:${TARGET}>.debug\"
                \"--strip-all;--add-gnu-debuglink=.debug/$<TARGET_FILE_NAME:${TARGET}>.debug;$<TARGET_FILE_NAME:${TARGET}>\")
            execute_process(COMMAND \"${CMAKE_OBJCOPY}\" \${arguments}
                WORKING_DIRECTORY \"\${directory}\" COMMAND_ERROR_IS_FATAL ANY)
        endforeach()")
endfunction()

function(sylvarin_install_archive TARGET)
    install(TARGETS ${TARGET} ${ARGN} ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR})
    if(NOT CMAKE_STRIP OR NOT SYLVARIN_SPLIT_DEBUG)
        return()
    endif()
    install(CODE "
        execute_process(COMMAND \"${CMAKE_STRIP}\" --strip-debug
            \"\$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_LIBDIR}/$<TARGET_FILE_NAME:${TARGET}>\"
            COMMAND_ERROR_IS_FATAL ANY)")
endfunction()
