// The one line of JSON on the local socket, in both directions.

#include "app/control_protocol.h"

#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using namespace sorrelwind;
    const QByteArray line(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));
    if (const auto request = ControlRequest::fromLine(line)) {
        // What is understood can be said again.
        if (ControlRequest::fromLine(request->toLine()) != request)
            std::abort();
    }
    if (const auto reply = ControlReply::fromLine(line)) {
        if (!ControlReply::fromLine(reply->toLine()))
            std::abort();
    }
    return 0;
}
