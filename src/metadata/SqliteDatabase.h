#pragma once

#include <QString>
#include <QVariant>

#include <functional>
#include <memory>

struct sqlite3;
struct sqlite3_stmt;

class SqliteDatabase;

// One prepared statement; finalized when it goes out of scope. Errors are reported through the database's
// errorText().
class SqliteStatement {
public:
    SqliteStatement() = default;
    SqliteStatement(SqliteStatement &&other) noexcept;
    SqliteStatement &operator=(SqliteStatement &&other) noexcept;
    ~SqliteStatement();

    bool isValid() const { return m_statement != nullptr; }

    // Parameters are 1-based, as in SQLite. A null QVariant binds NULL; strings bind as text, integral types
    // and booleans as integers, everything else convertible to double as a real.
    bool bind(int index, const QVariant &value);
    bool bindAll(const QVariantList &values);
    // True while a row is available; false at the end or on error (see SqliteDatabase::errorText()).
    bool step();
    // Runs a statement that returns no rows; true on success.
    bool execute();
    bool reset();

    int columnCount() const;
    QVariant column(int index) const;
    QString columnText(int index) const;
    qint64 columnInt64(int index) const;
    double columnDouble(int index) const;
    bool columnIsNull(int index) const;

private:
    friend class SqliteDatabase;
    SqliteStatement(SqliteDatabase *database, sqlite3_stmt *statement);

    SqliteDatabase *m_database = nullptr;
    sqlite3_stmt *m_statement = nullptr;
};

// The project's only use of SQLite's C API: a connection, statements, transactions and scalar functions.
class SqliteDatabase {
public:
    using ScalarFunction = std::function<QVariant(const QVariantList &arguments)>;

    SqliteDatabase() = default;
    SqliteDatabase(const SqliteDatabase &) = delete;
    SqliteDatabase &operator=(const SqliteDatabase &) = delete;
    ~SqliteDatabase();

    // path may be ":memory:".
    bool open(const QString &path);
    void close();
    bool isOpen() const { return m_connection != nullptr; }
    bool inTransaction() const;

    bool exec(const QString &sql);
    SqliteStatement prepare(const QString &sql);
    qint64 lastInsertRowId() const;

    // A deterministic scalar function callable from SQL; arguments arrive as QVariants (NULL as an invalid
    // QVariant, text as QString, integers as qint64, reals as double).
    bool registerFunction(const QString &name, int argumentCount, ScalarFunction function);

    // "sqlite: <message> (<code>)" of the last failure, empty after success.
    QString errorText() const { return m_errorText; }

private:
    friend class SqliteStatement;
    bool check(int code);
    void recordError(int code);

    sqlite3 *m_connection = nullptr;
    QString m_errorText;
};

// Commits on commit(); rolls back if destroyed without it. Nests: inside another transaction it is a
// savepoint, which a caller can roll back alone.
class SqliteTransaction {
public:
    explicit SqliteTransaction(SqliteDatabase &database);
    SqliteTransaction(const SqliteTransaction &) = delete;
    SqliteTransaction &operator=(const SqliteTransaction &) = delete;
    ~SqliteTransaction();

    bool isActive() const { return m_active; }
    bool commit();

private:
    SqliteDatabase &m_database;
    bool m_outermost = false;
    bool m_active = false;
};
