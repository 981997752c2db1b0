#include "tests/support/GridFsBox.h"
#include "tests/support/StoreBehaviour.h"
#include "tests/support/TestProgram.h"

#include <QCoreApplication>
#include <QTest>

using namespace KOZAV::Backend;
using namespace KOZAV::Test;

class GridFsBehaviourTest final : public StoreBehaviour
{
    Q_OBJECT
private Q_SLOTS:
    void init();
    void cleanup() { m_box.reset(); }

private:
    DocumentStore& store() override { return m_box->store(); }
    [[nodiscard]] const StoreLocation& location() const override { return m_box->location(); }
    void reopen() override { m_box->reopen(); }
    Result<StoredFile> put(const std::string& name, const QByteArray& content) override
    {
        return m_box->put(name, content);
    }
    QByteArray get(const std::string& name) override { return m_box->contentOf(name); }

    std::unique_ptr<GridFsBox> m_box;
};

void GridFsBehaviourTest::init()
{
    m_box = std::make_unique<GridFsBox>();
    if (!m_box->peer().problem().isEmpty())
        QSKIP(qPrintable(m_box->peer().problem()));
}

ZAV_REGISTER_TEST(gridfs_behaviour, GridFsBehaviourTest, QCoreApplication)

#include "gridfs_behaviour.moc"
