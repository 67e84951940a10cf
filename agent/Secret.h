#pragma once

#include <string>
#include <string_view>
#include <utility>

#include <cstring>

// Overwrites the text's memory before it is given back. Copies that the text had before it grew are not
// reached.
inline void Wipe(std::string& text) {
    explicit_bzero(text.data(), text.capacity());
    text.clear();
}

// A text that leaves no trace in memory where it stood, moves and copies included.
class Secret {
  public:
    Secret() = default;
    explicit Secret(std::string_view text) : m_text(text) {}
    Secret(const Secret& other) = default;
    Secret(Secret&& other) noexcept {
        m_text.swap(other.m_text);
        Wipe(other.m_text);  // a short text stands in the object itself and was copied
    }
    Secret& operator=(const Secret& other) {
        if (this != &other) {
            Wipe(m_text);
            m_text = other.m_text;
        }
        return *this;
    }
    Secret& operator=(Secret&& other) noexcept {
        std::swap(m_text, other.m_text);
        return *this;
    }
    ~Secret() { Wipe(m_text); }

    std::string_view Text() const { return m_text; }

  private:
    std::string m_text;
};

// Who is to be logged in.
struct Account {
    std::string name;
    Secret password;
};
inline bool operator==(const Account& one, const Account& other) {
    return one.name == other.name && one.password.Text() == other.password.Text();
}
