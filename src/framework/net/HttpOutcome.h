#pragma once

#include "TVRURLResponse.h"

class QNetworkReply;

// How a finished Qt reply reads in the terms of a URL connection, which reports an HTTP error
// status as an ordinary response with a body and fails only when no answer could be had.
namespace HttpOutcome {

// True when the reply ended with a complete answer, whatever its HTTP status, except a refused
// authentication, which counts as a failed connection.
bool isCompleteAnswer(const QNetworkReply &reply);

// The response header the reply carries now.
TVRURLResponse responseOf(const QNetworkReply &reply);

} // namespace HttpOutcome
