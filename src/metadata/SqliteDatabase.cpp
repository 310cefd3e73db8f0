#include "SqliteDatabase.h"

#include <sqlite3.h>

#include <utility>

SqliteStatement::SqliteStatement(SqliteDatabase *database, sqlite3_stmt *statement)
    : m_database(database), m_statement(statement)
{
}

SqliteStatement::SqliteStatement(SqliteStatement &&other) noexcept
    : m_database(std::exchange(other.m_database, nullptr)),
      m_statement(std::exchange(other.m_statement, nullptr))
{
}

SqliteStatement &SqliteStatement::operator=(SqliteStatement &&other) noexcept
{
    if (this != &other) {
        sqlite3_finalize(m_statement);
        m_database = std::exchange(other.m_database, nullptr);
        m_statement = std::exchange(other.m_statement, nullptr);
    }
    return *this;
}

SqliteStatement::~SqliteStatement()
{
    sqlite3_finalize(m_statement);
}

bool SqliteStatement::bind(int index, const QVariant &value)
{
    int code = SQLITE_OK;
    switch (value.typeId()) {
    case QMetaType::UnknownType:
        code = sqlite3_bind_null(m_statement, index);
        break;
    case QMetaType::QString: {
        const QByteArray utf8 = value.toString().toUtf8();
        code = sqlite3_bind_text(m_statement, index, utf8.constData(), int(utf8.size()), SQLITE_TRANSIENT);
        break;
    }
    case QMetaType::Bool:
    case QMetaType::Int:
    case QMetaType::UInt:
    case QMetaType::LongLong:
    case QMetaType::ULongLong:
    case QMetaType::Long:
    case QMetaType::ULong:
        code = sqlite3_bind_int64(m_statement, index, value.toLongLong());
        break;
    default:
        code = sqlite3_bind_double(m_statement, index, value.toDouble());
        break;
    }
    return m_database->check(code);
}

bool SqliteStatement::bindAll(const QVariantList &values)
{
    for (int i = 0; i < values.size(); ++i) {
        if (!bind(i + 1, values.at(i)))
            return false;
    }
    return true;
}

bool SqliteStatement::step()
{
    const int code = sqlite3_step(m_statement);
    if (code == SQLITE_ROW) {
        m_database->m_errorText.clear();
        return true;
    }
    m_database->check(code == SQLITE_DONE ? SQLITE_OK : code);
    return false;
}

bool SqliteStatement::execute()
{
    const int code = sqlite3_step(m_statement);
    return m_database->check(code == SQLITE_DONE || code == SQLITE_ROW ? SQLITE_OK : code);
}

bool SqliteStatement::reset()
{
    sqlite3_clear_bindings(m_statement);
    return m_database->check(sqlite3_reset(m_statement));
}

int SqliteStatement::columnCount() const
{
    return sqlite3_column_count(m_statement);
}

QVariant SqliteStatement::column(int index) const
{
    switch (sqlite3_column_type(m_statement, index)) {
    case SQLITE_INTEGER:
        return columnInt64(index);
    case SQLITE_FLOAT:
        return columnDouble(index);
    case SQLITE_NULL:
        return {};
    default:
        return columnText(index);
    }
}

QString SqliteStatement::columnText(int index) const
{
    const auto *text = reinterpret_cast<const char *>(sqlite3_column_text(m_statement, index));
    return QString::fromUtf8(text, sqlite3_column_bytes(m_statement, index));
}

qint64 SqliteStatement::columnInt64(int index) const
{
    return sqlite3_column_int64(m_statement, index);
}

double SqliteStatement::columnDouble(int index) const
{
    return sqlite3_column_double(m_statement, index);
}

bool SqliteStatement::columnIsNull(int index) const
{
    return sqlite3_column_type(m_statement, index) == SQLITE_NULL;
}

SqliteDatabase::~SqliteDatabase()
{
    close();
}

bool SqliteDatabase::open(const QString &path)
{
    close();
    const int code =
        sqlite3_open_v2(path.toUtf8().constData(), &m_connection,
                        SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOMUTEX, nullptr);
    if (code != SQLITE_OK) {
        recordError(code);
        close();
        return false;
    }
    sqlite3_extended_result_codes(m_connection, 1);
    // The desktop program, a command and a live query may all write the same index: a writer waits its
    // turn rather than fail.
    sqlite3_busy_timeout(m_connection, 10000);
    m_errorText.clear();
    return true;
}

bool SqliteDatabase::inTransaction() const
{
    return m_connection && !sqlite3_get_autocommit(m_connection);
}

void SqliteDatabase::close()
{
    // sqlite3_close_v2 defers the close until outstanding statements are finalized.
    sqlite3_close_v2(m_connection);
    m_connection = nullptr;
}

bool SqliteDatabase::exec(const QString &sql)
{
    return check(sqlite3_exec(m_connection, sql.toUtf8().constData(), nullptr, nullptr, nullptr));
}

SqliteStatement SqliteDatabase::prepare(const QString &sql)
{
    sqlite3_stmt *statement = nullptr;
    const QByteArray utf8 = sql.toUtf8();
    if (!check(sqlite3_prepare_v2(m_connection, utf8.constData(), int(utf8.size()), &statement, nullptr)))
        return {};
    return SqliteStatement(this, statement);
}

qint64 SqliteDatabase::lastInsertRowId() const
{
    return sqlite3_last_insert_rowid(m_connection);
}

namespace {

QVariant argumentValue(sqlite3_value *value)
{
    switch (sqlite3_value_type(value)) {
    case SQLITE_INTEGER:
        return qint64(sqlite3_value_int64(value));
    case SQLITE_FLOAT:
        return sqlite3_value_double(value);
    case SQLITE_NULL:
        return {};
    default:
        return QString::fromUtf8(reinterpret_cast<const char *>(sqlite3_value_text(value)),
                                 sqlite3_value_bytes(value));
    }
}

void callFunction(sqlite3_context *context, int count, sqlite3_value **values)
{
    const auto &function = *static_cast<SqliteDatabase::ScalarFunction *>(sqlite3_user_data(context));
    QVariantList arguments;
    arguments.reserve(count);
    for (int i = 0; i < count; ++i)
        arguments.append(argumentValue(values[i]));
    const QVariant result = function(arguments);
    switch (result.typeId()) {
    case QMetaType::UnknownType:
        sqlite3_result_null(context);
        break;
    case QMetaType::QString: {
        const QByteArray utf8 = result.toString().toUtf8();
        sqlite3_result_text(context, utf8.constData(), int(utf8.size()), SQLITE_TRANSIENT);
        break;
    }
    case QMetaType::Double:
        sqlite3_result_double(context, result.toDouble());
        break;
    default:
        sqlite3_result_int64(context, result.toLongLong());
        break;
    }
}

void destroyFunction(void *function)
{
    delete static_cast<SqliteDatabase::ScalarFunction *>(function);
}

} // namespace

bool SqliteDatabase::registerFunction(const QString &name, int argumentCount, ScalarFunction function)
{
    auto *owned = new ScalarFunction(std::move(function));
    // On failure SQLite itself calls the destructor.
    return check(sqlite3_create_function_v2(m_connection, name.toUtf8().constData(), argumentCount,
                                            SQLITE_UTF8 | SQLITE_DETERMINISTIC, owned, callFunction, nullptr,
                                            nullptr, destroyFunction));
}

bool SqliteDatabase::check(int code)
{
    if (code == SQLITE_OK) {
        m_errorText.clear();
        return true;
    }
    recordError(code);
    return false;
}

void SqliteDatabase::recordError(int code)
{
    const char *message = m_connection ? sqlite3_errmsg(m_connection) : sqlite3_errstr(code);
    m_errorText = QStringLiteral("sqlite: %1 (%2)").arg(QString::fromUtf8(message)).arg(code);
}

SqliteTransaction::SqliteTransaction(SqliteDatabase &database)
    : m_database(database), m_outermost(!database.inTransaction())
{
    // The outermost one takes the write lock at once: a transaction that read first and then wants to
    // write fails without waiting when another process committed in between.
    m_active =
        m_database.exec(m_outermost ? QStringLiteral("BEGIN IMMEDIATE") : QStringLiteral("SAVEPOINT vantry"));
}

SqliteTransaction::~SqliteTransaction()
{
    if (m_active)
        m_database.exec(m_outermost ? QStringLiteral("ROLLBACK")
                                    : QStringLiteral("ROLLBACK TO vantry; RELEASE vantry"));
}

bool SqliteTransaction::commit()
{
    if (!m_active)
        return false;
    m_active = !m_database.exec(m_outermost ? QStringLiteral("COMMIT") : QStringLiteral("RELEASE vantry"));
    return !m_active;
}
