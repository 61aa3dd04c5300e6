#pragma once

/// Counts something that is under way for as long as it lives.
class Counted {
public:
    explicit Counted(int& count) : count_(count) { count_ += 1; }
    Counted(const Counted&) = delete;
    Counted& operator=(const Counted&) = delete;
    ~Counted() { count_ -= 1; }

private:
    int& count_;
};
