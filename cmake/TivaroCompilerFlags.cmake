# Strict warnings for the project's own targets; sanitizers for the whole build when asked.
add_library(tivaro_warnings INTERFACE)
target_compile_options(tivaro_warnings INTERFACE
    -Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor -Wcast-align -Woverloaded-virtual
    $<$<BOOL:${TIVARO_WERROR}>:-Werror>)
target_compile_definitions(tivaro_warnings INTERFACE
    QT_NO_KEYWORDS QT_NO_FOREACH QT_NO_NARROWING_CONVERSIONS_IN_CONNECT)

# Production code never converts between bytes and text by accident; tests may write literals plainly.
add_library(tivaro_strict INTERFACE)
target_link_libraries(tivaro_strict INTERFACE tivaro_warnings)
target_compile_definitions(tivaro_strict INTERFACE
    QT_NO_CAST_FROM_ASCII QT_NO_CAST_TO_ASCII QT_USE_QSTRINGBUILDER)

if(TIVARO_SANITIZE)
    add_compile_options(-fsanitize=address,undefined -fno-omit-frame-pointer -fno-sanitize-recover=undefined)
    add_link_options(-fsanitize=address,undefined)
endif()
