# What the Wine test and benchmark scripts share; source it.

# The path of FILE as Windows programs see it under Wine (its drive Z: is the root), made
# without starting a Wine program: winepath itself fails now and then under a loaded Wine, and
# its empty answer made a script host run nothing.
windows_path() {
  local p
  p=$(cd "$(dirname "$1")" && pwd)/$(basename "$1")
  printf 'Z:%s\n' "${p//\//\\}"
}
