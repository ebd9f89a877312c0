#include "clipboard/make_pasteboard.h"

#include "clipboard/null_pasteboard.h"
#include "clipboard/x11_pasteboard.h"

#include <utility>

namespace sorrelwind {

std::unique_ptr<Pasteboard> makePasteboard(const QByteArray& display) {
    auto connection = X11Connection::open(display);
    if (!connection) {
        return std::make_unique<NullPasteboard>(std::move(connection).error());
    }
    return std::make_unique<X11Pasteboard>(*std::move(connection));
}

} // namespace sorrelwind
