kvrn_test(face_test face_test.cpp)
