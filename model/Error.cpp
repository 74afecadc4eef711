#include "model/Error.h"

#include <new>
#include <utility>

Error::Error(qint32 number, QString source, QString description)
    : m_number(number)
    , m_source(std::move(source))
    , m_description(std::move(description))
    , m_what((m_source + QStringLiteral(": ") + m_description).toUtf8())
{
}

const char* Error::what() const noexcept
{
    return m_what.constData();
}

void Error::Raise(qint32 number, const QString& source, const QString& description)
{
    throw Error(number, source, description);
}

Error Error::Current()
{
    try {
        throw;
    } catch (const Error& e) {
        return e;
    } catch (const std::bad_alloc&) {
        return Error(ErrorNumber::OutOfMemory, QString(), QStringLiteral("Out of memory"));
    } catch (const std::exception& e) {
        return Error(ErrorNumber::Internal, QString(), QString::fromLocal8Bit(e.what()));
    } catch (...) {
        return Error(ErrorNumber::Internal, QString(), QStringLiteral("Internal error"));
    }
}

void Error::Rethrow(const QString& source)
{
    const Error e = Current();
    throw Error(e.Number(), source, e.Description());
}
