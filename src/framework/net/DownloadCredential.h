#pragma once

#include "tivaro_export.h"

#include <QString>

// A user name and password for a server that asks.
struct TIVARO_EXPORT DownloadCredential {
    QString user;
    QString password;
};
