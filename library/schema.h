// The tables of library.sqlite, as docs/local-library.md explains them to its readers.
#pragma once

#include <cstdint>

namespace library {

/// "PHLB": tells a local library from any other SQLite file.
inline constexpr std::int64_t applicationID = 0x50484C42;

/// Raised by every change of the schema; a library of another version is not opened.
inline constexpr std::int64_t schemaVersion = 2;

/// The first half of making a library. It is not synced: after a crash the library is made anew.
/// Pages are larger than SQLite's default. The rows of a listing are all over the database, and
/// finding them in fewer, larger pages costs a third less.
inline constexpr const char* beginMaking = R"sql(
PRAGMA page_size = 16384;
PRAGMA journal_mode = OFF;
PRAGMA synchronous = OFF;
BEGIN;

CREATE TABLE library (
  id                  INTEGER PRIMARY KEY CHECK (id = 1),
  authorizationStatus INTEGER NOT NULL,
  promptAnswer        INTEGER NOT NULL,
  promptDelay         REAL NOT NULL CHECK (promptDelay BETWEEN 0 AND 86400),
  userLibraryAlbum    TEXT,
  opensURLs           INTEGER CHECK (opensURLs IN (0, 1)),
  deletionSuccess     INTEGER NOT NULL CHECK (deletionSuccess IN (0, 1)),
  deletionError       TEXT,
  deletionDelay       REAL NOT NULL CHECK (deletionDelay BETWEEN 0 AND 86400),
  deletionCrash       INTEGER NOT NULL CHECK (deletionCrash BETWEEN 0 AND 2),
  networkReachable    INTEGER NOT NULL CHECK (networkReachable IN (0, 1))
) STRICT;

CREATE TABLE asset (
  id               INTEGER PRIMARY KEY,
  localIdentifier  TEXT NOT NULL,
  mediaType        INTEGER NOT NULL,
  creationDate     REAL CHECK (abs(creationDate) <= 1.7976931348623157e308),
  modificationDate REAL CHECK (abs(modificationDate) <= 1.7976931348623157e308),
  recentlyDeleted  INTEGER NOT NULL DEFAULT 0 CHECK (recentlyDeleted IN (0, 1))
) STRICT;

CREATE TABLE resource (
  asset             INTEGER NOT NULL REFERENCES asset (id) ON DELETE CASCADE,
  position          INTEGER NOT NULL,
  type              INTEGER NOT NULL,
  originalFilename  TEXT NOT NULL,
  size              INTEGER NOT NULL CHECK (size >= 0),
  sha256            TEXT CHECK (length(sha256) = 64),
  cloud             INTEGER NOT NULL DEFAULT 0 CHECK (cloud IN (0, 1)),
  chunks            TEXT,
  delay             REAL NOT NULL DEFAULT 0 CHECK (delay BETWEEN 0 AND 86400),
  bytesPerSecond    INTEGER CHECK (bytesPerSecond > 0),
  failureAfterBytes INTEGER CHECK (failureAfterBytes >= 0),
  failureKind       INTEGER CHECK (failureKind BETWEEN 0 AND 2),
  failureError      TEXT,
  PRIMARY KEY (asset, position)
) STRICT, WITHOUT ROWID;
)sql";

/// The second half. Indexes are made last: sorting all rows once is faster than keeping them
/// sorted. The two numbers are applicationID and schemaVersion.
inline constexpr const char* endMaking = R"sql(
CREATE UNIQUE INDEX assetLocalIdentifier ON asset (localIdentifier);

CREATE INDEX assetOrder ON asset (
  recentlyDeleted, creationDate, id, mediaType, modificationDate, localIdentifier
);

CREATE INDEX resourceContent ON resource (sha256) WHERE sha256 IS NOT NULL;

COMMIT;
PRAGMA synchronous = FULL;
PRAGMA journal_mode = WAL;
PRAGMA application_id = 1346915394;
PRAGMA user_version = 2;
PRAGMA wal_checkpoint(TRUNCATE);
)sql";

}  // namespace library
