#pragma once

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

/// A new, empty working directory for as long as the object lives.
class WorkingFolder
{
public:
    WorkingFolder() : m_previous(QDir::currentPath()) { QDir::setCurrent(m_folder.path()); }
    ~WorkingFolder() { QDir::setCurrent(m_previous); }
    WorkingFolder(const WorkingFolder&) = delete;
    WorkingFolder& operator=(const WorkingFolder&) = delete;

    QString path() const { return m_folder.path(); }

private:
    QTemporaryDir m_folder;
    QString m_previous;
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
