#include "crypto/clipboard_crypto.h"

#include <benchmark/benchmark.h>

namespace {

using namespace sorrelwind;

const SymmetricKey& key() {
    static const SymmetricKey k = *SymmetricKey::fromBytes(QByteArray(32, 'k'));
    return k;
}

void derive(benchmark::State& state) {
    const QString salt = Crypto::randomSalt();
    for (auto _ : state)
        benchmark::DoNotOptimize(
            Crypto::deriveKey(QStringLiteral("passphrase"), salt, state.range(0)));
}
BENCHMARK(derive)->Arg(600'000)->Unit(benchmark::kMillisecond);

void seal(benchmark::State& state) {
    const QString text(state.range(0), u'x');
    for (auto _ : state)
        benchmark::DoNotOptimize(Crypto::encryptText(text, key()));
    state.SetBytesProcessed(state.iterations() * state.range(0));
}
BENCHMARK(seal)->Arg(100)->Arg(10'000)->Arg(1'000'000);

void open(benchmark::State& state) {
    const QString wire = *Crypto::encryptText(QString(state.range(0), u'x'), key());
    for (auto _ : state)
        benchmark::DoNotOptimize(Crypto::decryptText(wire, key()));
    state.SetBytesProcessed(state.iterations() * state.range(0));
}
BENCHMARK(open)->Arg(100)->Arg(10'000)->Arg(1'000'000);

} // namespace

BENCHMARK_MAIN();
