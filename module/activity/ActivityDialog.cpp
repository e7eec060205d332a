#include "activity/ActivityDialog.h"

#include "frame/MessageBoxes.h"

#include <QFile>
#include <QFrame>
#include <QHBoxLayout>
#include <QLabel>
#include <QMovie>
#include <QPalette>
#include <QVBoxLayout>

namespace
{

// A titled dialog with a system menu and no context help button.
constexpr Qt::WindowFlags kWindowFlags =
    Qt::Dialog | Qt::WindowTitleHint | Qt::WindowSystemMenuHint;

} // namespace

CActivityDialog::CActivityDialog(QWidget* parent, const char* name, bool modal,
                                 const QString& message, const QString& animationFile)
    : QDialog(parent, kWindowFlags), m_pMessageLabel(nullptr), m_pAnimationLabel(nullptr),
      m_pAnimation(nullptr)
{
    setWindowFlag(Qt::WindowContextHelpButtonHint, false);
    if (name != nullptr)
    {
        setObjectName(QString::fromUtf8(name));
    }
    setModal(modal);
    setWindowTitle(QStringLiteral("Working..."));

    auto* pBaseLayout = new QVBoxLayout(this);
    pBaseLayout->setObjectName(QStringLiteral("baselayout"));
    pBaseLayout->setContentsMargins(10, 10, 10, 10);
    pBaseLayout->setSpacing(10);

    auto* pContentsBox = new QWidget(this);
    pContentsBox->setObjectName(QStringLiteral("contentsbox"));
    auto* pContentsLayout = new QHBoxLayout(pContentsBox);
    pContentsLayout->setContentsMargins(0, 0, 0, 0);
    pContentsLayout->setSpacing(20);

    m_pMessageLabel = new QLabel(pContentsBox);
    m_pAnimationLabel = new QLabel(pContentsBox);
    pContentsLayout->addWidget(m_pMessageLabel);
    pContentsLayout->addWidget(m_pAnimationLabel);

    if (!message.isNull())
    {
        SetMessage(message);
    }
    if (!animationFile.isNull())
    {
        SetUpAnimation(animationFile);
    }

    pBaseLayout->addWidget(pContentsBox);
    setFixedSize(sizeHint());
}

CActivityDialog::~CActivityDialog() = default;

void CActivityDialog::SetMessage(const QString& message)
{
    m_pMessageLabel->setText(message);
}

void CActivityDialog::SetUpAnimation(const QString& animationFile)
{
    if (!QFile::exists(animationFile))
    {
        DocView::ShowCriticalMessage(QStringLiteral("Error..."),
                                     QStringLiteral("Can't find animation file!"));
        return;
    }
    m_pAnimation = new QMovie(animationFile, QByteArray(), this);
    // The first frame gives the size and is shown until the dialog appears.
    m_pAnimation->jumpToFrame(0);

    m_pAnimationLabel->setScaledContents(true);
    // Style value 51: the sunken Windows-style panel (QFrame::Panel | Sunken would be 50).
    m_pAnimationLabel->setFrameStyle(QFrame::WinPanel | QFrame::Sunken);
    m_pAnimationLabel->setFixedSize(m_pAnimation->frameRect().size());
    QPalette palette = m_pAnimationLabel->palette();
    palette.setColor(QPalette::Window, Qt::black);
    m_pAnimationLabel->setPalette(palette);
    m_pAnimationLabel->setAutoFillBackground(true);
    m_pAnimationLabel->setMovie(m_pAnimation);
}

void CActivityDialog::showEvent(QShowEvent* event)
{
    if (m_pAnimation != nullptr)
    {
        m_pAnimation->start();
    }
    QDialog::showEvent(event);
}

void CActivityDialog::hideEvent(QHideEvent* event)
{
    if (m_pAnimation != nullptr)
    {
        m_pAnimation->stop();
    }
    QDialog::hideEvent(event);
}
