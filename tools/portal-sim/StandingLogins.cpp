#include "StandingLogins.h"

#include <algorithm>

namespace portal_sim {

void StandingLogins::Begin(const std::string& clientId, const std::string& ticket) {
    const auto replaced = [&](const Login& login) {
        return login.clientId.empty() || login.clientId == clientId;
    };
    m_logins.erase(std::remove_if(m_logins.begin(), m_logins.end(), replaced), m_logins.end());
    m_logins.push_back({clientId, ticket});
}

void StandingLogins::KnowEarlier(const std::string& ticket) {
    m_logins.push_back({"", ticket});
}

bool StandingLogins::End(const std::string& clientId, const std::string& ticket) {
    const auto login = std::find_if(m_logins.begin(), m_logins.end(),
                                    [&](const Login& row) { return row.IsOf(clientId, ticket); });
    if (login == m_logins.end()) {
        return false;
    }
    m_logins.erase(login);
    return true;
}

bool StandingLogins::Stands(const std::string& clientId, const std::string& ticket) const {
    return std::any_of(m_logins.begin(), m_logins.end(),
                       [&](const Login& row) { return row.IsOf(clientId, ticket); });
}

std::string StandingLogins::LatestTicket() const {
    return m_logins.empty() ? "" : m_logins.back().ticket;
}

}  // namespace portal_sim
