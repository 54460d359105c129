@0xd1c3a5b7e9f01234;

interface Call {
  call @0 (request :Data) -> (answer :Data);
}
