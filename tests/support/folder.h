#pragma once

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

/// A new, empty working directory for as long as the object lives.
class WorkingFolder
{
public:
    WorkingFolder() { QDir::setCurrent(path()); }
    ~WorkingFolder() { QDir::setCurrent(m_previous); }
    Q_DISABLE_COPY(WorkingFolder)

    QString path() const { return m_folder.path(); }

private:
    QString m_previous = QDir::currentPath();
    QTemporaryDir m_folder;
};

inline QByteArray contentOf(const QString& fileName)
{
    QFile file(fileName);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

inline bool writeFile(const QString& fileName, const QByteArray& content)
{
    QFile file(fileName);
    return file.open(QIODevice::WriteOnly) && file.write(content) == content.size();
}
