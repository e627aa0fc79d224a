#pragma once

#include <QBoxLayout>
#include <QChildEvent>
#include <QFrame>
#include <QGroupBox>
#include <QWidget>

/// A Frame that lays out its children in the order of their creation: a child is placed by creating
/// it with the box as parent.
template <class Frame, QBoxLayout::Direction direction>
class ChildBox : public Frame
{
public:
    using Frame::Frame;

    /// Sets the free pixels around all children.
    void setMargin(int pixels) { m_box->setContentsMargins(pixels, pixels, pixels, pixels); }

    /// Sets the free pixels between two children.
    void setSpacing(int pixels) { m_box->setSpacing(pixels); }

protected:
    void childEvent(QChildEvent* event) override
    {
        // First, because a checkable group box disables its new children there.
        Frame::childEvent(event);
        if (!event->added() || !event->child()->isWidgetType()) {
            return;
        }
        // Message boxes and dialogs have a box as parent too, but float above it.
        auto* widget = static_cast<QWidget*>(event->child());
        if (!widget->isWindow()) {
            m_box->addWidget(widget);
        }
    }

private:
    QBoxLayout* m_box = new QBoxLayout(direction, this);
};

/// Stacks its children top to bottom, without a margin.
class Q3VBox : public ChildBox<QFrame, QBoxLayout::TopToBottom>
{
public:
    explicit Q3VBox(QWidget* parent) : ChildBox(parent) { setMargin(0); }
};

/// Places its children side by side, left to right, without a margin.
class Q3HBox : public ChildBox<QFrame, QBoxLayout::LeftToRight>
{
public:
    explicit Q3HBox(QWidget* parent) : ChildBox(parent) { setMargin(0); }
};

/// A group box that stacks its children top to bottom.
class Q3VGroupBox : public ChildBox<QGroupBox, QBoxLayout::TopToBottom>
{
public:
    explicit Q3VGroupBox(QWidget* parent) : ChildBox(parent) {}
    Q3VGroupBox(const QString& title, QWidget* parent) : ChildBox(title, parent) {}
};

/// A group box that places its children side by side, left to right.
class Q3HGroupBox : public ChildBox<QGroupBox, QBoxLayout::LeftToRight>
{
public:
    explicit Q3HGroupBox(QWidget* parent) : ChildBox(parent) {}
    Q3HGroupBox(const QString& title, QWidget* parent) : ChildBox(title, parent) {}
};

/// Gives a box the narrow margin and spacing of the rows inside a group.
template <class Box>
void tighten(Box& box)
{
    constexpr int tightPixels = 3;
    box.setMargin(tightPixels);
    box.setSpacing(tightPixels);
}
