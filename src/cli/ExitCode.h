#pragma once

// The exit statuses of `tivaro`.
namespace ExitCode {
constexpr int Success = 0;
constexpr int Failure = 1; // the command could not do its work; a message says why
constexpr int Usage = 2;   // the command line itself was wrong
} // namespace ExitCode
