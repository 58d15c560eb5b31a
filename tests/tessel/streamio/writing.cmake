tarvex_add_test(streamio_write_test
  SOURCES writer_test.cpp binary_test.cpp index_test.cpp stream_object_test.cpp roundtrip_property_test.cpp
  LIBRARIES tessel_streamio)
