// Public header: installed with the library for hosts to include.
#pragma once

// Every kind of view of the model, for code that works with all of them.
#include "platform/ui/Button.h"
#include "platform/ui/CollectionView.h"
#include "platform/ui/CollectionViewCell.h"
#include "platform/ui/Control.h"
#include "platform/ui/ImageView.h"
#include "platform/ui/Label.h"
#include "platform/ui/ProgressView.h"
#include "platform/ui/ScrollView.h"
#include "platform/ui/StackView.h"
#include "platform/ui/Switch.h"
#include "platform/ui/TableView.h"
#include "platform/ui/TableViewCell.h"
#include "platform/ui/TextField.h"
#include "platform/ui/TextView.h"
#include "platform/ui/View.h"
