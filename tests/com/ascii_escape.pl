#!/usr/bin/perl
# Result and ReportError lines as ASCII, for comparing the VBScript host's output with the
# qorvintr command's: every character outside blank..tilde (tab and line feed stay) becomes
# \uXXXX, one per UTF-16 code unit, so a character beyond the BMP is two escapes; CR is dropped.
#   ascii_escape.pl          < UTF-8 text
#   ascii_escape.pl --utf16  < UTF-16 text with a byte order mark (what the script host writes)
use strict;
use warnings;

my $utf16 = @ARGV && $ARGV[0] eq '--utf16';
binmode STDIN, $utf16 ? ':raw:encoding(UTF-16)' : ':encoding(UTF-8)';
binmode STDOUT, ':raw';

sub units {
  my $c = ord shift;
  return sprintf('\\u%04X', $c) if $c <= 0xFFFF;
  $c -= 0x10000;
  return sprintf('\\u%04X\\u%04X', 0xD800 + ($c >> 10), 0xDC00 + ($c & 0x3FF));
}

while (my $line = <STDIN>) {
  $line =~ s/\r//g;
  $line =~ s/([^\x20-\x7E\t\n])/units($1)/ge;
  print $line;
}
