#pragma once

#include <QScrollArea>

namespace sorrelwind {

/// What is too tall for its place, to be scrolled by a bar that is only a thin handle, and nothing
/// at all while everything fits. It has no ground and no frame of its own.
class SlimScrollArea final : public QScrollArea {
    Q_OBJECT
public:
    explicit SlimScrollArea(QWidget* content);
};

} // namespace sorrelwind
