#!/usr/bin/perl
# SPDX-License-Identifier: Apache-2.0
#
# attach.pl SOCKETS HOST: one more terminal on a running device. SOCKETS holds a socket for each console
# of the guest, HOST is the folder that the guest sees as /host: while HOST/tty.N is there, with the
# window's size and the terminal's type, a shell runs on console N; "end" ends it, and the guest removes
# the file when the shell has ended by itself.
use strict;
use warnings;
use Fcntl qw(:flock);
use IO::Select;
use IO::Socket::UNIX;

my ($sockets, $host) = @ARGV;
my ($number, $lock, $console, $file);
for my $candidate (1 .. 8) {
    next unless -S "$sockets/$candidate";
    open($lock, '>', "$sockets/$candidate.lock") or die "error: $sockets: $!\n";
    next unless flock($lock, LOCK_EX | LOCK_NB);
    $number = $candidate;
    last;
}
die "error: all eight terminals of the device are taken\n" unless $number;
$file = "$host/tty.$number";
$console = IO::Socket::UNIX->new(Peer => "$sockets/$number")
    or die "error: the device does not answer: $!\n";

# The guest reads whenever it likes, so the file appears whole.
sub tell_guest {
    my ($text) = @_;
    open(my $new, '>', "$file.new") or return;
    print $new $text;
    close($new);
    rename("$file.new", $file);
}

sub tell_size {
    my ($rows, $columns) = split(' ', `stty size 2>/dev/null` || '24 80');
    tell_guest("rows $rows columns $columns\n" . ($ENV{TERM} || 'vt100') . "\n");
}

my $settings = `stty -g 2>/dev/null`;
my $resized = 0;
my $ended = 0;
$SIG{WINCH} = sub { $resized = 1 };
$SIG{$_} = sub { $ended = 1 } for qw(HUP INT TERM);
$SIG{PIPE} = 'IGNORE';
system('stty', 'raw', '-echo') if $settings;
tell_size();

my $ready = IO::Select->new($console, \*STDIN);
LOOP: until ($ended) {
    if ($resized) { $resized = 0; tell_size(); }
    for my $from ($ready->can_read(0.3)) {
        my $length = sysread($from, my $bytes, 4096);
        next if !defined $length && $!{EINTR};
        last LOOP unless $length;
        my $to = $from == $console ? \*STDOUT : $console;
        while (length $bytes) {
            my $written = syswrite($to, $bytes);
            last LOOP unless defined $written;
            substr($bytes, 0, $written, '');
        }
    }
    last unless -e $file;
}
tell_guest("end\n") if -e $file;
if ($settings) { chomp $settings; system('stty', $settings); }
