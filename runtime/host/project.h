// A panel project's database, for taking over the lines that it describes.
#pragma once

#include <QString>
#include <memory>
#include <optional>
#include <vector>

namespace host {

/// A link of the project and the default node on it.
struct ProjectLink
{
    int linkId = 0;
    int hmiPort = 0;
    std::optional<int> station; ///< of the default node; nothing when there is none
    QString ip;                 ///< of the default node; empty on serial links
    int tcpPort = 0;            ///< of the default node; 0 on serial links
};

/// "COM2" for 1001, "ETHERNET" for 2000; the number itself for any other.
QString hmiPortName(int hmiPort);

/// An open project database. Read-only: nothing is ever written to a project.
/// Belongs to the thread that opened it; the program has a QCoreApplication.
class Project
{
public:
    /// Opens the database of the project in @p directory: compile/database/database,
    /// database/database or database below it, in this order. On failure null, and
    /// @p error (not null) gets one line that says what is wrong: no such directory
    /// or file, no database, a table or column that is missing, locked by another
    /// program, or left by one in the middle of a change.
    static std::unique_ptr<Project> open(const QString& directory, QString* error);
    ~Project();
    Project(const Project&) = delete;
    Project& operator=(const Project&) = delete;

    /// The file that is open.
    const QString& fileName() const { return m_fileName; }
    /// All links with their default nodes, by link number; a link with several
    /// default nodes once for each.
    const std::vector<ProjectLink>& links() const { return m_links; }
    /// The station of the default node on the link of a port such as COM2. Nothing,
    /// with one line in @p error (not null), for what is no port name, a port
    /// without a link or default node, and a station that no request can carry.
    std::optional<int> stationAt(const QString& portName, QString* error) const;

private:
    explicit Project(const QString& fileName);
    QString load();

    const QString m_fileName;
    const QString m_connection; ///< name of the connection in Qt SQL
    std::vector<ProjectLink> m_links;
};

}
