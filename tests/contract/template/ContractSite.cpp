// The adapter of an implementation of the services. ContractSite.h says what each function must do; each ends
// the program here until it is written.

#include "ContractSite.h"

#include <QFile>
#include <QRegularExpression>
#include <QTest>

namespace KOZAV::Test {

bool ContractSite::isAvailable(QString& reason)
{
    reason = QStringLiteral("the adapter is to be written");
    return false;
}

bool ContractSite::gives(Promise promise)
{
    switch (promise) {
    case Promise::SeveralPrograms:
    case Promise::KnownContent:
        return false;
    }
    return false;
}

ContractSite::ContractSite()
{
    qFatal("ContractSite: make a site in path(\"site\"), and have the services work on it");
}

ContractSite::~ContractSite()
{
    close();
}

void ContractSite::join(const QString& /*configuration*/)
{
    qFatal("join: have the services of this process work on that site");
}

QString ContractSite::configuration() const
{
    return path(QStringLiteral("site/configuration"));
}

/// Nothing here is the implementation's.
std::string ContractSite::writeFile(const QString& name, const QByteArray& content) const
{
    QFile file(path(name));
    if (!file.open(QIODevice::WriteOnly) || file.write(content) != content.size() || !file.flush())
        qFatal("%s", qPrintable(file.errorString()));
    return QFile::encodeName(file.fileName()).toStdString();
}

void ContractSite::close()
{
    qFatal("close: end what the services have open");
}

void ContractSite::configure(const QString& /*key*/, const QString& /*value*/) const
{
    qFatal("configure: change the configuration");
}

void ContractSite::loseConfiguration() const
{
    qFatal("loseConfiguration: take the configuration away");
}

/// Right where failures are logged through Qt's messages, as "operation subject: reason".
void ContractSite::expectFailure(const char* operation, const char* /*words*/)
{
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QLatin1Char('^') + QLatin1String(operation)));
}

void ContractSite::expectTakenKey(const char* operation)
{
    expectFailure(operation, "");
}

int ContractSite::addCompany(const char* /*code*/, const std::string& /*name*/)
{
    qFatal("addCompany: add the company");
    return 0;
}

std::vector<std::string> ContractSite::storedNames()
{
    qFatal("storedNames: list the stored files");
    return {};
}

QStringList ContractSite::job(const std::string& /*generatedName*/)
{
    qFatal("job: read the rows of the job");
    return {};
}

QStringList ContractSite::preFiles(const std::string& /*flowGuid*/)
{
    qFatal("preFiles: read the rows of the pre-processed files");
    return {};
}

QStringList ContractSite::origFiles()
{
    qFatal("origFiles: read the rows of the original files");
    return {};
}

QStringList ContractSite::contents()
{
    return {};
}

} // namespace KOZAV::Test
