// PersistentStoreMigration: one migration of a whole store (renaming keys,
// dropping retired ones, converting a value's type), run by
// PersistentStore::run in the order given.
#pragma once

namespace zorlan {

class PersistentStore;

// Implement `migrate` to change the store. Keep it idempotent: `run` does
// not record which migrations have already run.
class PersistentStoreMigration {
 public:
  virtual ~PersistentStoreMigration() = default;
  virtual void migrate(PersistentStore& store) = 0;
};

}  // namespace zorlan
