#include "tests/support/StoreBehaviour.h"
#include "tests/support/StoreBox.h"
#include "tests/support/TestProgram.h"

#include <QCoreApplication>

using namespace KOZAV::Backend;
using namespace KOZAV::Test;

class LocalStoreBehaviourTest final : public StoreBehaviour
{
    Q_OBJECT
private Q_SLOTS:
    void init() { m_box = std::make_unique<StoreBox>(); }
    void cleanup() { m_box.reset(); }

private:
    DocumentStore& store() override { return m_box->store(); }
    [[nodiscard]] const StoreLocation& location() const override { return testLocation(); }
    void reopen() override { m_box->reopen(); }
    Result<StoredFile> put(const std::string& name, const QByteArray& content) override
    {
        return m_box->put(name, content);
    }
    QByteArray get(const std::string& name) override { return m_box->get(name); }

    std::unique_ptr<StoreBox> m_box;
};

ZAV_REGISTER_TEST(store_behaviour, LocalStoreBehaviourTest, QCoreApplication)

#include "store_behaviour.moc"
