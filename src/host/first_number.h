#ifndef TVL_HOST_FIRST_NUMBER_H
#define TVL_HOST_FIRST_NUMBER_H

namespace tvl {

// Returns a random number from which a process counts the files that it names by its id and a number, because
// processes of different computers can have the same id, as in containers and cloned machines. If such
// processes use one name at the same time, they delete each other's files or wait for each other.
[[nodiscard]] unsigned int FirstNumber();

}  // namespace tvl

#endif
