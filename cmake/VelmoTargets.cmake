# What every target of this project shares: warnings, definitions, sanitizers, and the shape of a room.

add_library(velmo_options INTERFACE)

target_compile_definitions(velmo_options INTERFACE
    QT_NO_CAST_FROM_ASCII
    QT_NO_CAST_TO_ASCII
    QT_NO_URL_CAST_FROM_STRING
    QT_NO_FOREACH
    QT_NO_NARROWING_CONVERSIONS_IN_CONNECT
    QT_USE_QSTRINGBUILDER
    QT_MESSAGELOGCONTEXT)

if(CMAKE_CXX_COMPILER_ID MATCHES "GNU|Clang")
    target_compile_options(velmo_options INTERFACE
        -Wall -Wextra -Wpedantic -Wconversion -Wsign-conversion)
    if(VELMO_WERROR)
        target_compile_options(velmo_options INTERFACE -Werror)
    endif()
    if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
        target_compile_options(velmo_options INTERFACE -Wshadow=local)
    endif()
endif()

if(WIN32)
    # A function whose frame was written over ends the program. What sees to it, the toolchain file links in.
    target_compile_options(velmo_options INTERFACE -fstack-protector-strong)
endif()

if(VELMO_SANITIZE)
    target_compile_options(velmo_options INTERFACE
        -fsanitize=${VELMO_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
    target_link_options(velmo_options INTERFACE -fsanitize=${VELMO_SANITIZE})
endif()

# velmo_room(<name> SOURCES <files> USES <libraries>)
# One folder of src as one static library. USES names exactly the rooms and Qt modules that it may see.
function(velmo_room name)
    cmake_parse_arguments(room "" "" "SOURCES;USES" ${ARGN})
    add_library(velmo_${name} STATIC ${room_SOURCES})
    target_include_directories(velmo_${name} PUBLIC ${PROJECT_SOURCE_DIR}/src)
    target_link_libraries(velmo_${name} PUBLIC velmo_options ${room_USES})
endfunction()
