#pragma once

#include <string>
#include <vector>

namespace portal_sim {

// Who is logged in. A login belongs to the client that began it, known by its "Client-ID", and to the ticket
// that it began with, so any number of clients are logged in side by side, with one account or several. Not
// synchronised: the owner has a lock.
class StandingLogins {
  public:
    // Ends what the client had before.
    void Begin(const std::string& clientId, const std::string& ticket);
    // A login that an earlier run of the portal left: it is of whoever names the ticket, until somebody
    // begins one.
    void KnowEarlier(const std::string& ticket);
    // False, and nothing happens, when the client has no login with that ticket.
    bool End(const std::string& clientId, const std::string& ticket);

    bool Stands(const std::string& clientId, const std::string& ticket) const;
    // The ticket of the login that began last of those that stand; empty when nobody is logged in.
    std::string LatestTicket() const;

  private:
    struct Login {
        std::string clientId;  // empty for that of an earlier run
        std::string ticket;
        // A portal that was started again counts its tickets anew: one that a client kept may be another's
        // now.
        bool IsOf(const std::string& client, const std::string& named) const {
            return ticket == named && (clientId.empty() || clientId == client);
        }
    };
    std::vector<Login> m_logins;  // in the order in which they began, at most one of each client
};

}  // namespace portal_sim
