// A hub's reply and the frames of its socket, as the agent reads them off the line: what comes of
// the bytes must not depend on how they are cut into pieces.

#include "hub/frame_reader.h"
#include "hub/http_reader.h"

#include <cstdlib>

using namespace sorrelwind;

namespace {

struct Outcome {
    HttpReader::State state;
    int status;
    QByteArray body;
    qsizetype messages = 0;
    FrameReader::Fault fault = FrameReader::Fault::none;

    bool operator==(const Outcome&) const = default;
};

Outcome readInPieces(const QByteArray& bytes, qsizetype piece) {
    constexpr qsizetype kMaxMessage = 4096;
    HttpReader http;
    FrameReader frames(kMaxMessage);
    Outcome outcome{};
    for (qsizetype at = 0; at < bytes.size(); at += piece) {
        const QByteArray part = bytes.mid(at, piece);
        if (http.add(part) == HttpReader::State::reading && http.body().size() > at + piece)
            std::abort();
        outcome.messages += frames.add(part).size();
    }
    outcome.state = http.end();
    outcome.status = http.status();
    outcome.fault = frames.fault();
    if (outcome.state == HttpReader::State::done)
        outcome.body = http.body();
    return outcome;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const QByteArray bytes(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));
    const auto whole = readInPieces(bytes, std::max<qsizetype>(bytes.size(), 1));
    for (const qsizetype piece : {1, 7})
        if (readInPieces(bytes, piece) != whole)
            std::abort();
    return 0;
}
