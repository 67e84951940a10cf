#pragma once

// The HTTP status codes that decide something.
constexpr int kStatusOk = 200;
constexpr int kStatusFound = 302;
constexpr int kStatusSeeOther = 303;
constexpr int kStatusFirstError = 400;

constexpr bool IsServerError(int status) {
    return status >= 500 && status <= 599;
}
