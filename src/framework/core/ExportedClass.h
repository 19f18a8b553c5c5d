#pragma once

#include "tivaro_export.h"

#include <QObject>
#include <QtGlobal>

// How a bundle's library makes a class known by name: for each such class it exports a C function
// "tivaro_class_<ClassName>" that returns the class's description. A bundle names its principal class
// in the Info.plist key "NSPrincipalClass"; the loader looks that function up and asks it for objects.
struct TIVARO_EXPORT ExportedClass {
    // Changes whenever the layout of the framework's exported classes changes, so that a bundle built
    // against another framework is refused with a message instead of crashing.
    static constexpr quint32 currentAbi = 1;

    quint32 abi;
    const char *className;
    // A new, uninitialised object owned by the caller.
    QObject *(*create)();
};

// In exactly one source file of the bundle's library, after the class is declared:
//     TIVARO_EXPORT_CLASS(MyPlugin)
// The class needs a default constructor; its name must be a plain C identifier (no namespace).
#define TIVARO_EXPORT_CLASS(ClassName)                                                                                 \
    extern "C" Q_DECL_EXPORT const ExportedClass *tivaro_class_##ClassName()                                           \
    {                                                                                                                  \
        static const ExportedClass description{ExportedClass::currentAbi, #ClassName,                                  \
                                               []() -> QObject * { return new ClassName; }};                           \
        return &description;                                                                                           \
    }
