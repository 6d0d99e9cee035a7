#pragma once

#include <QPlainTextEdit>

namespace veltra {

/// Shows what the agent's tool printed last, as plain text that can be selected and copied; keeps
/// the newest of it. The Escape key hides it. Main thread only.
class ToolOutputView : public QPlainTextEdit {
    Q_OBJECT

  public:
    explicit ToolOutputView(QWidget* parent = nullptr);

    void add(const QString& text);

    [[nodiscard]] QSize sizeHint() const override;
    [[nodiscard]] QSize minimumSizeHint() const override;

  Q_SIGNALS:
    /// The user wants it to be hidden.
    void dismissed();

  protected:
    void keyPressEvent(QKeyEvent* event) override;

  private:
    [[nodiscard]] QSize sizeForLines(int lines) const;
};

} // namespace veltra
