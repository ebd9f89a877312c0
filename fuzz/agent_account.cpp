// The account file, which anything may have written.

#include "account/account.h"

#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using sorrelwind::Account;
    const QByteArray bytes(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));
    const auto account = Account::fromJson(bytes);
    // What is read can be written and read again.
    if (account && Account::fromJson(account->toJson()) != account)
        std::abort();
    return 0;
}
