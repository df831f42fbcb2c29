// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QLineEdit>

namespace sorvanel {

// A folder path on one line: shortened in the middle while it doesn't fit,
// whole as soon as the user clicks into it, so it can be selected and copied.
class PathLabel : public QLineEdit
{
    Q_OBJECT

public:
    explicit PathLabel(QWidget *parent = nullptr);

    void setPath(const QString &path);
    QString path() const { return m_path; }

protected:
    void resizeEvent(QResizeEvent *event) override;
    void focusInEvent(QFocusEvent *event) override;
    void focusOutEvent(QFocusEvent *event) override;

private:
    void showElided();
    QString m_path;
};

} // namespace sorvanel
