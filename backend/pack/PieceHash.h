#pragma once

#include "backend/io/Sha256.h"

#include <QByteArray>

#include <condition_variable>
#include <memory>
#include <mutex>

namespace KOZAV::Backend {

/// SHA-256 of a file whose pieces are read by several threads: each piece is added when those before it have
/// been.
class PieceHash final
{
public:
    /// What one thread does to it. Every piece that was begun has its turn, so that nobody waits in vain for
    /// one that could not be read; so pieces have to be begun in the order of the file.
    class Turn final
    {
    public:
        /// @param shared  of a file of several pieces; null: the piece is the whole file
        Turn(std::shared_ptr<PieceHash> shared, qint64 offset, qint64 size);
        /// Passes the turn on where nothing was added.
        ~Turn();
        Q_DISABLE_COPY(Turn)

        /// Adds the whole piece. Waits until all pieces before it were read.
        void add(const unsigned char* bytes);

        /// Of the whole file, once its last piece was added: lower-case hexadecimal, empty where the
        /// cryptographic library failed.
        [[nodiscard]] QByteArray result();

    private:
        void take(const unsigned char* bytes);

        std::shared_ptr<PieceHash> m_shared;
        const qint64 m_offset;
        const qint64 m_size;
        bool m_taken = false;
        QByteArray m_result; ///< of a piece that is the whole file
    };

private:
    std::mutex m_mutex; ///< guards m_offset
    std::condition_variable m_moved;
    qint64 m_offset = 0; ///< of the piece whose turn it is
    Sha256 m_hash;       ///< of the thread whose turn it is
};

} // namespace KOZAV::Backend
