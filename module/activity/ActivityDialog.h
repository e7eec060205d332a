#pragma once

#include <QDialog>
#include <QString>

class QLabel;
class QMovie;

// The modal busy dialog: a message beside an optional animation, captioned "Working...".
// Owned by CActivityDialogPlugin; owns its labels and the animation (Qt children). GUI thread
// only. The animation plays while the dialog is shown. Throws nothing of its own; sends and
// handles no messages (its plug-in does).
class CActivityDialog : public QDialog
{
    Q_OBJECT

public:
    // `name` (may be null) becomes the object name. A null `animationFile` means no animation; a
    // given file that does not exist is reported in a critical message box ("Error...") and the
    // dialog goes on without an animation.
    CActivityDialog(QWidget* parent, const char* name, bool modal, const QString& message,
                    const QString& animationFile);
    ~CActivityDialog() override;

    void SetMessage(const QString& message);

    QLabel* MessageLabel() const { return m_pMessageLabel; }
    QLabel* AnimationLabel() const { return m_pAnimationLabel; }
    // Null when there is no animation.
    QMovie* Animation() const { return m_pAnimation; }

protected:
    void showEvent(QShowEvent* event) override;
    void hideEvent(QHideEvent* event) override;

private:
    void SetUpAnimation(const QString& animationFile);

    QLabel* m_pMessageLabel;
    QLabel* m_pAnimationLabel;
    QMovie* m_pAnimation;
};
